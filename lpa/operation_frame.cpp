#include "lpa/operation_frame.h"
#include "lpa/lpa.h"
#include "lpa/update_event.h"
#include <string.h>

namespace {

uint32_t run_and_convert(const operation_record &operation, const operation_arguments &arguments, char **json,
                         uint32_t *length)
{
    owned_bytes answer;
    uint32_t answer_length = 0;
    bool recovered = true;
    const uint32_t code = operation_frame__attempts(operation.name, arguments.modem, &recovered, [&] {
        return operation_frame__session(operation.step, arguments.modem, [&](ModemHandle *handle, uint8_t channel) {
            return operation.exchange(handle, channel, arguments, &answer.data, &answer_length);
        });
    });
    if (!recovered) return RESULT__FATAL_ERROR;
    if (code != RESULT__OK) return operation_frame__failed(operation.name, code);
    if (operation.after_success) operation.after_success(operation.name, arguments.modem);
    return operation_frame__document(operation.name, json, length, [&](char **document, uint8_t *result_flag) {
        return operation.convert(answer.data, answer_length, arguments, document, result_flag);
    });
}

} // namespace

uint32_t operation_frame__run(const operation_record &operation, const operation_arguments &arguments, char **json,
                              uint32_t *length)
{
    if (operation_frame__begin(operation.name, arguments.modem, json, length) != RESULT__OK)
        return RESULT__BAD_ARGUMENT;
    const uint32_t code = run_and_convert(operation, arguments, json, length);
    if (operation.event != NO_UPDATE_EVENT)
        esim_notify_event((uint32_t)operation.event, arguments.modem, arguments.iccid, code);
    return code;
}

uint32_t operation_frame__begin(const char *name, const char *modem, char **json, uint32_t *length)
{
    if (json) *json = nullptr;
    if (length) *length = 0;
    if (modem && json && length) return RESULT__OK;
    log__string(LOG__ERROR, "[%s] modem, json or length is null", name);
    return RESULT__BAD_ARGUMENT;
}

uint32_t operation_frame__failed(const char *name, uint32_t code)
{
    log__string(LOG__ERROR, "FATAL [%s] failed, rc %d", name, code);
    return code;
}

void operation_frame__reload(const char *name, const char *modem)
{
    log__string(LOG__INFO, "[%s] reloading modem", name);
    const uint32_t rc = reload_modem(modem, 0);
    if (rc == RESULT__OK) log__string(LOG__INFO, "[%s] modem reloaded", name);
    else log__string(LOG__ERROR, "[%s] Error reloading modem, rc %d", name, rc);
}

void operation_frame__deliver_notifications(const char *name, const char *modem)
{
    owned_text document;
    uint32_t length = 0;
    const uint32_t rc = LPA__process_notifications(modem, &document.data, &length);
    if (rc == RESULT__OK) log__string(LOG__INFO, "Notifications processed successfully");
    else log__string(LOG__WARN, "[%s] could not process the notifications, rc %d", name, rc);
}

uint32_t operation_frame__hand_over(const char *name, char *document, uint8_t result_flag, char **json,
                                    uint32_t *length)
{
    *json = document;
    *length = (uint32_t)strlen(document) + 1;
    log__string(LOG__INFO, "[%s] JSON result: %s", name, document);
    return result_flag ? RESULT__EUICC_RESULT : RESULT__OK;
}
