#include "lpa/lpa.h"
#include "lpa/operation_frame.h"
#include "lpa/update_event.h"
#include "rsp/notification_processing.h"

uint32_t LPA__process_notifications(const char *modem, char **json, uint32_t *length)
{
    static constexpr const char *name = "LPA__process_notifications";
    if (operation_frame__begin(name, modem, json, length) != RESULT__OK) return RESULT__BAD_ARGUMENT;
    // A reload that fails ends the attempts, but the code stays that of the last one.
    bool recovered = true;
    const uint32_t code =
        operation_frame__attempts(name, modem, &recovered, [modem] { return process_notifications(modem); });
    esim_notify_event(UPDATE_EVENT__NOTIFICATIONS, modem, nullptr, code);
    return code == RESULT__OK ? code : operation_frame__failed(name, code);
}
