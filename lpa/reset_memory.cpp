#include "es10/es10.h"
#include "es10/es10_tlv_extractor.h"
#include "lpa/lpa.h"
#include "lpa/operation_frame.h"
#include "lpa/update_event.h"

namespace {

constexpr const char *name = "LPA__reset_memory";
constexpr const char *step = "LPA__reset_memory_";

// A card that has just been reset needs this long before it answers reliably again.
constexpr uint32_t settle_seconds = 5;

uint32_t reset_on_session(ModemHandle *handle, uint8_t channel)
{
    static constexpr EuiccMemoryResetRequest everything = {
        .deleteOperationalProfiles = 1,
        .deleteFieldLoadedTestProfiles = 1,
        .resetDefaultSmdpAddress = 1,
    };
    owned_bytes answer;
    uint32_t length = 0;
    uint32_t rc = es10__euicc_memory_reset(handle, channel, &everything, &answer.data, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__WARN, "[%s] es10__euicc_memory_reset failed, rc %d", step, rc);
        return rc;
    }
    uint32_t reset_result = 0; // the card's own report has no document to stand in: an answer that reads well is enough
    rc = es10_tlv_extractor__euicc_memory_reset_response(answer.data, length, &reset_result);
    if (rc == RESULT__OK) timer__sleep(settle_seconds);
    return rc;
}

uint32_t LPA__reset_memory_(const char *modem) { return operation_frame__session(step, modem, reset_on_session); }

uint32_t run_reset(const char *modem)
{
    bool recovered = true;
    const uint32_t code =
        operation_frame__attempts(name, modem, &recovered, [modem] { return LPA__reset_memory_(modem); });
    if (!recovered) return RESULT__FATAL_ERROR;
    if (code != RESULT__OK) return operation_frame__failed(name, code);
    operation_frame__deliver_notifications(name, modem);
    operation_frame__reload(name, modem);
    return RESULT__OK;
}

} // namespace

uint32_t LPA__reset_memory(const char *modem, char **json, uint32_t *length)
{
    if (operation_frame__begin(name, modem, json, length) != RESULT__OK) return RESULT__BAD_ARGUMENT;
    const uint32_t code = run_reset(modem);
    esim_notify_event(UPDATE_EVENT__RESET_MEMORY, modem, nullptr, code);
    return code;
}
