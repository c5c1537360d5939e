#include "cli/messages.h"
#include "foundation/result.h"
#include <algorithm>
#include <iterator>

namespace {

// clang-format off
constexpr message messages[] = {
    {RESULT__FATAL_ERROR, nullptr,
     "The library could not go on: modem lock, bus, card or server did not answer as they should, the server or proxy refused "
     "the connection, or the confirmation code is wrong or missing (attempts are counted).",
     "Read the end of /tmp/mobile/lpa.log; repeat with --log-level 4 --log-to-console to watch each step."},
    {RESULT__NOT_SUPPORTED, nullptr,
     "The library does not offer this.",
     "Nothing can be done here; lpa --version tells the release."},
    {RESULT__NOT_IMPLEMENTED, nullptr,
     "The library does not offer this yet.",
     "Nothing can be done here; lpa --version tells the release."},
    {RESULT__BAD_ARGUMENT, nullptr,
     "An argument is malformed: an ICCID has 18 to 20 digits and begins with 89, a nickname at most 64 bytes, an activation code at most 255.",
     "Correct the argument; lpa COMMAND --help shows an example."},
    {RESULT__JSON_PARSE_ERROR, nullptr,
     "The server's answer is not what the protocol asks for.",
     "Check that the address in the activation code is an SM-DP+; the log at level 4 holds the answer."},
    {RESULT__ESIM_ERROR, nullptr,
     "The eUICC refused a command.",
     "Try once more. If it stays, the log tells the status word (SW), which the card's maker explains."},
    {RESULT__NOT_ENOUGH_BUFFER, nullptr,
     "Something is longer than the library takes.",
     "The log tells what it was."},
    {RESULT__NO_DATA, nullptr,
     "Card or server left out something that is needed.",
     "Try once more; the log tells what is missing."},
    {RESULT__NO_MEMORY, nullptr,
     "This machine has no memory left.",
     "End other programs and try again."},
    {RESULT__ESIM_BUSY, nullptr,
     "The eUICC is occupied with something else.",
     "Wait some seconds and try again."},
    {RESULT__CONNECTION_FAILED, nullptr,
     "The server could not be reached.",
     "Check network, server address and name resolution; behind a proxy give --proxy HOST:PORT. "
     "Pending notifications stay on the card: lpa process-notifications delivers them later."},
    {RESULT__NOT_ENOUGH_EUICC_MEMORY, nullptr,
     "The profile is larger than what is free on the card.",
     "Delete a profile that is not needed (lpa profiles, lpa delete); lpa memory tells what is free."},
    {RESULT__AUTHENTICATION_ERROR, nullptr,
     "The server refused the card or the activation code: unknown, expired, already used, not yet released, meant for another card, or too "
     "large for this one.",
     "authenticateClientError in /tmp/mobile/lpa.log tells which: 6 the code (compare it with the provider's letter), 7 the card "
     "(lpa eid), 8 not released, 11 memory (lpa memory, lpa delete), others the provider has to explain."},
    {RESULT__MODEM_ERROR, nullptr,
     "The AT command could not be sent: the modem or its terminal is not known or not there, another program holds it, or the "
     "modem is silent.",
     "Check the modem's terminal in the file that LPA_MODEMS names, else /etc/lpa/modems.json, and stop modem managers that "
     "use the same port."},
    {RESULT__SIM_CARD_ERROR, nullptr,
     "The modem answered ERROR twice: no card in the slot, radio off, or no AT+CSIM.",
     "Check the card; send AT+CFUN=1 or restart the modem; check that this port knows AT+CSIM."},
    {RESULT__EUICC_RESULT, nullptr,
     "The request reached the card, and this is the card's own answer.",
     "lpa profiles shows what is there: only a disabled profile can be enabled or deleted, only an enabled one disabled, and the "
     "provider may have forbidden it. Of a failed download the provider was told: ask there, naming this reason."},
    {RESULT__ISDR_UNREACHABLE, "eUICC not reached",
     "The card answers, but its ISD-R could not be selected: it is no eUICC, or it is still starting.",
     "Wait some seconds and try again; if it stays, check that the card is an eUICC."},
    {RESULT__SESSION_CANCELLED, nullptr,
     "The card gave no logical channel, or it waits for the REFRESH that follows a profile change.",
     "Try again in some seconds; if it stays, restart the modem (AT+CFUN=0, then AT+CFUN=1)."},
};
// clang-format on

constexpr message unknown = {0, nullptr, "The library gave a code without a meaning.",
                             "The log tells more: /tmp/mobile/lpa.log."};

} // namespace

const message &message_for(uint32_t code)
{
    const auto *const found = std::ranges::find(messages, code, &message::code);
    return found == std::end(messages) ? unknown : *found;
}
