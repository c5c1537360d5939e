// cli/interruption.h: what happens when a signal ends the program.
//
// The library's own handlers call these, which say what happened and end the process with 128 and the signal's number;
// the library alone would end it with 0, as if all were done. The modem's lock ends with the process, and the card's
// logical channels are closed by the next session.
#pragma once

// Before the library installs its own handlers, which keep these. uses_card: what happened to it is told.
// owes_document: standard output gets a JSON document.
void interruption__begin(bool uses_card, bool owes_document);

// The outcome is being told: signals end the program as they usually do.
void interruption__end();

// Standard input without echo while the object lives; a signal brings the echo back too.
class hidden_input {
  public:
    hidden_input();
    ~hidden_input();
    hidden_input(const hidden_input &) = delete;
    hidden_input &operator=(const hidden_input &) = delete;
};
