#include "cli/interruption.h"
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <termios.h>
#include <unistd.h>

namespace {

struct interruption {
    int signal;
    const char *document;
};
// SIGTSTP too: the library takes it for an end, and hands it to every handler that it keeps.
constexpr interruption interruptions[] = {
    {SIGINT, "{\"result\":130,\"description\":\"Interrupted\"}\n"},
    {SIGTERM, "{\"result\":143,\"description\":\"Terminated\"}\n"},
    {SIGTSTP, "{\"result\":148,\"description\":\"Stopped\"}\n"},
};
constexpr const char *card_notice =
    "\nlpa: interrupted; if something was under way, the card is whole: lpa status shows what is there\n";

volatile sig_atomic_t uses_card = 0;
volatile sig_atomic_t owes_document = 0;
volatile sig_atomic_t is_input_hidden = 0;
termios shown_input;

void write_text(int to, const char *text)
{
    if (write(to, text, strlen(text)) < 0) return; // there is nobody left to tell
}

extern "C" void end_interrupted(int number)
{
    if (is_input_hidden) tcsetattr(STDIN_FILENO, TCSANOW, &shown_input);
    write_text(STDERR_FILENO, uses_card ? card_notice : "\n");
    for (const interruption &end : interruptions)
        if (end.signal == number && owes_document) write_text(STDOUT_FILENO, end.document);
    _exit(128 + number);
}

} // namespace

void interruption__begin(bool uses, bool owes)
{
    uses_card = uses;
    owes_document = owes;
    for (const int number : {SIGINT, SIGTERM})
        std::signal(number, end_interrupted);
}

void interruption__end()
{
    for (const interruption &end : interruptions)
        std::signal(end.signal, SIG_DFL);
}

hidden_input::hidden_input()
{
    if (tcgetattr(STDIN_FILENO, &shown_input) != 0) return;
    is_input_hidden = 1;
    std::signal(SIGTSTP, end_interrupted); // a shell would bring the program back with the echo on
    termios hidden = shown_input;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
}

hidden_input::~hidden_input()
{
    if (!is_input_hidden) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &shown_input);
    is_input_hidden = 0;
    std::signal(SIGTSTP, SIG_DFL);
}
