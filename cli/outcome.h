// cli/outcome.h: how a command ended, whether the library or the program itself says so.
#pragma once
#include "cli/document.h"
#include "lpa/lpa.h"
#include <optional>
#include <string>

// Exit statuses beside the library's result codes (0 to 18). A signal's is 128 and its number.
enum {
    EXIT__USAGE = 64,         // the command line is wrong, nothing was done
    EXIT__NOT_CONFIRMED = 65, // what destroys was not confirmed, nothing was done
    EXIT__NOT_FOUND = 66,     // no profile or activation code where one was looked for, or several; nothing was done
    EXIT__NO_BUS = 69,        // there are no update events to watch
    EXIT__NOT_WRITTEN = 74,   // done, but the outcome could not be written to standard output
};

struct outcome {
    uint32_t code = 0;            // a result code or an exit status
    std::optional<json> document; // absent when there is none
};

// {"result":N,"description":"..."}
outcome ended(uint32_t code, const std::string &description);

// The library's description of a result code.
std::string code_description(uint32_t code);

// What an operation of the library's ended with; takes its document over. One that cannot be read becomes
// {"result":N,"description":"...","document":"its text"}.
outcome taken_over(uint32_t code, char *document);

// What was only asked for a document is 8 without one.
outcome with_document(const outcome &answer);

template <typename Operation, typename... Arguments> outcome call(Operation operation, const Arguments &...arguments)
{
    char *document = nullptr;
    uint32_t length = 0;
    const uint32_t code = operation(arguments.c_str()..., &document, &length);
    return taken_over(code, document);
}

template <typename Operation> outcome read(Operation operation, const std::string &modem)
{
    return with_document(call(operation, modem));
}
