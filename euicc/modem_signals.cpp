#include "euicc/modem_signals.h"
#include "euicc/euicc_session.h"
#include "foundation/log.h"
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iterator>

ModemHandle *modem_table[MODEM_COUNT];

namespace {
using handler_function = void (*)(int);

constexpr int handled_signals[] = {SIGINT, SIGTERM, SIGTSTP};
handler_function saved_handlers[std::size(handled_signals)];

// Neither SIG_DFL nor SIG_IGN.
bool is_function(handler_function handler) { return reinterpret_cast<uintptr_t>(handler) > 1; }

void release_modem(ModemHandle *handle)
{
    if (static_cast<int32_t>(handle->logical_channel) < 0) {
        log__string(LOG__WARN, "[signal_handler] modem %d closed", handle->modem_number);
        close_modem(handle);
        return;
    }
    log__string(LOG__WARN, "[signal_handler] modem %d logical channel %d terminated", handle->modem_number,
                static_cast<int32_t>(handle->logical_channel));
    eUICC__terminate(handle, static_cast<uint8_t>(handle->logical_channel));
}

// Not async-signal-safe, and meant so: it ends the process, and a logical channel left open on the card costs the next
// process an out-of-sync recovery, which is worse than a rare hang of a process that is being killed anyway.
extern "C" void signal_handler(int signo) // NOLINT(bugprone-signal-handler,cert-sig30-c,cert-msc54-cpp)
{
    log__string(LOG__WARN, "[signal_handler] signo %d received", signo);
    for (ModemHandle *handle : modem_table)
        if (handle) release_modem(handle);
    // All of them, whichever signal they were saved for: each belongs to a part of the host that wants to clean up.
    for (const handler_function handler : saved_handlers)
        if (handler) handler(signo);
    exit(0);
}

void setup_signal(int signo, handler_function *saved)
{
    struct sigaction action = {};
    if (sigaction(signo, nullptr, &action) == 0 && is_function(action.sa_handler)) {
        *saved = action.sa_handler;
        log__string(LOG__INFO, "[setup_signal] saved handler for signal %d: %p", signo,
                    reinterpret_cast<void *>(action.sa_handler));
    }
    action = {};
    action.sa_handler = signal_handler;
    sigemptyset(&action.sa_mask);
    sigaction(signo, &action, nullptr);
}
} // namespace

void modem_signals__install()
{
    for (size_t slot = 0; slot < std::size(handled_signals); ++slot)
        setup_signal(handled_signals[slot], &saved_handlers[slot]);
    std::ranges::fill(modem_table, nullptr);
}
