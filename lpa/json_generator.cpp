#include "lpa/json_generator.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include <lmnfinfo.h>
#include <span>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace {

constexpr uint32_t iccid_text_size = 2 * ICCID_BYTES + 1;

// ---- Text that is measured first and then written -----------------------------------------------------------------

// A null text: nothing is written, end is where the text would end.
struct json_writer {
    char *text = nullptr;
    size_t size = 0;
    size_t end = 0;
};

// Not inlined: one copy serves all documents, and a compiler that sees a format takes its formatting for infallible.
__attribute__((format(printf, 2, 0), noinline)) bool append_arguments(json_writer &out, const char *format,
                                                                      va_list arguments)
{
    char *place = out.text ? out.text + out.end : nullptr;
    const size_t room = out.text ? out.size - out.end : 0;
    const int length = vsnprintf(place, room, format, arguments);
    if (length < 0 || (out.text && (size_t)length >= room)) return false;
    out.end += (size_t)length;
    return true;
}

__attribute__((format(printf, 2, 3))) bool append(json_writer &out, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const bool appended = append_arguments(out, format, arguments);
    va_end(arguments);
    return appended;
}

// What one generator says about its steps.
struct document_log {
    void (*bad_length)();
    void (*no_memory)();
    void (*not_written)();
    void (*written)(const char *json);
};

__attribute__((format(printf, 3, 4))) uint32_t write_document(const document_log &log, char **json, const char *format,
                                                              ...)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    va_list arguments;
    json_writer measured;
    va_start(arguments, format);
    const bool known = append_arguments(measured, format, arguments);
    va_end(arguments);
    if (!known) {
        log.bad_length();
        return RESULT__FATAL_ERROR;
    }
    owned_text text(static_cast<char *>(M_malloc(measured.end + 1)));
    if (!text.data) {
        log.no_memory();
        return RESULT__NO_MEMORY;
    }
    json_writer out{.text = text.data, .size = measured.end + 1};
    va_start(arguments, format);
    const bool written = append_arguments(out, format, arguments);
    va_end(arguments);
    if (!written) {
        log.not_written();
        return RESULT__FATAL_ERROR;
    }
    log.written(text.data);
    *json = text.hand_over();
    return RESULT__OK;
}

// ---- Outcomes of profile operations -------------------------------------------------------------------------------

struct outcome {
    uint32_t value;
    const char *description;
};

const char *find_description(std::span<const outcome> outcomes, uint32_t value)
{
    for (const outcome &candidate : outcomes)
        if (candidate.value == value) return candidate.description;
    return nullptr;
}

uint32_t describe(std::span<const outcome> outcomes, uint32_t value, void (*log_unknown)(uint32_t), char **json,
                  uint8_t *result)
{
    if (!json || !result) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    const char *description = find_description(outcomes, value);
    if (!description) {
        log_unknown(value);
        return RESULT__BAD_ARGUMENT;
    }
    const uint32_t rc = json_generator__result_description((int32_t)value, description, json);
    if (rc == RESULT__OK) *result = (uint8_t)value;
    return rc;
}

constexpr outcome code_descriptions[] = {
    {RESULT__OK, "No error"},
    {RESULT__FATAL_ERROR, "Fatal error"},
    {RESULT__NOT_SUPPORTED, "Not supported"},
    {RESULT__NOT_IMPLEMENTED, "Not implemented"},
    {RESULT__BAD_ARGUMENT, "Bad argument"},
    {RESULT__JSON_PARSE_ERROR, "JSON parse error"},
    {RESULT__ESIM_ERROR, "eSIM error"},
    {RESULT__NOT_ENOUGH_BUFFER, "Not enough buffer"},
    {RESULT__NO_DATA, "No data"},
    {RESULT__NO_MEMORY, "No memory"},
    {RESULT__ESIM_BUSY, "eSIM busy"},
    {RESULT__CONNECTION_FAILED, "Connection failed"},
    {RESULT__NOT_ENOUGH_EUICC_MEMORY, "Not enough free memory in the eUICC to store the profile"},
    {RESULT__AUTHENTICATION_ERROR, "Profile installation failed due to authentication error"},
    {RESULT__MODEM_ERROR, "Modem error"},
    {RESULT__SIM_CARD_ERROR, "SIM card error"},
    {RESULT__SESSION_CANCELLED, "Session cancelled"},
};

constexpr outcome enable_outcomes[] = {
    {0, "Profile enabled"},
    {1, "Profile not enabled. Profile ICCID or application AID not found"},
    {2, "Profile not enabled. The profile was not in disabled state"},
    {3, "Profile not enabled. Disallowed by policy"},
    {4, "Profile not enabled. Wrong profile reenabling"},
    {5, "Profile not enabled. Cat busy"},
    {127, "Profile not enabled. Undefined error"},
};

constexpr outcome disable_outcomes[] = {
    {0, "Profile disabled"},
    {1, "Profile not disabled. Profile ICCID or application AID not found"},
    {2, "Profile not disabled. The profile was not in enabled state"},
    {3, "Profile not disabled. Disallowed by policy"},
    {5, "Profile not disabled. Cat busy"},
    {127, "Profile not disabled. Undefined error"},
};

constexpr outcome delete_outcomes[] = {
    {0, "Profile deleted"},
    {1, "Profile not deleted. Profile ICCID or application AID not found"},
    {2, "Profile not deleted. The profile was not in disabled state"},
    {3, "Profile not deleted. Disallowed by policy"},
    {127, "Profile not deleted. Undefined error"},
};

constexpr outcome install_error_reasons[] = {
    {1, "Profile not installed. Incorrect input values"},
    {2, "Profile not installed. Invalid signature"},
    {3, "Profile not installed. Invalid transaction ID"},
    {4, "Profile not installed. Unsupported crt values"},
    {5, "Profile not installed. Unsupported remote operation type"},
    {6, "Profile not installed. Unsupported profile class"},
    {7, "Profile not installed. SCP03t structure error"},
    {8, "Profile not installed. SCP03t security error"},
    {9, "Profile not installed. Install failed due to iccid already exists on eUICC"},
    {10, "Profile not installed. Install failed due to insufficient memory for profile"},
    {11, "Profile not installed. Install failed due to interruption"},
    {12, "Profile not installed. Install failed due to PE processing error"},
    {13, "Profile not installed. Install failed due to data mismatch"},
    {14, "Profile not installed. Test profile install failed due to invalid naa key"},
    {15, "Profile not installed. PPR not allowed"},
    {127, "Profile not installed. Install failed due to unknown error"},
};

// ---- ICCID --------------------------------------------------------------------------------------------------------

// The bootstrap profile is the one whose ICCID begins the manufacturer's text; none is set on a router without one.
uint8_t is_bootstrap_profile(const char *digits, uint32_t length)
{
    const char *bootstrap = lmnfinfo_get_boot_profile();
    return bootstrap && length > 0 && strncmp(bootstrap, digits, length) == 0;
}

} // namespace

uint32_t json_generator__result_description(int32_t result, const char *description, char **json)
{
    static constexpr document_log log = {
        .bad_length = [] { log__string(LOG__ERROR, "[json_generator__result_description] Bad json length"); },
        .no_memory =
            [] { log__string(LOG__ERROR, "[json_generator__result_description] Can't allocate data to json"); },
        .not_written =
            [] {
                log__string(LOG__ERROR, "[json_generator__result_description] Can't add data inside the json string");
            },
        .written =
            [](const char *text) {
                log__string(LOG__DEBUG, "[json_generator__result_description] result json string [%s]", text);
            },
    };
    if (json) *json = nullptr;
    if (!description) return RESULT__BAD_ARGUMENT;
    return write_document(log, json, "{\"result\":%d,\"description\":\"%s\"}", result, description);
}

uint32_t json_generator__process_error(uint32_t code, char **json)
{
    const char *description = find_description(code_descriptions, code);
    return json_generator__result_description((int32_t)(code & 0xFF), description ? description : "Undefined error",
                                              json);
}

uint32_t json_generator__remove_iccid_padding(const uint8_t *iccid, char *iccid_unpadded, uint32_t *len)
{
    static constexpr const char *name = "json_generator__remove_iccid_padding";
    if (!iccid) {
        log__string(LOG__ERROR, "[%s] iccid is null", name);
        return RESULT__BAD_ARGUMENT;
    }
    if (!iccid_unpadded) {
        log__string(LOG__ERROR, "[%s] iccid_unpadded is null", name);
        return RESULT__BAD_ARGUMENT;
    }
    if (!len) {
        log__string(LOG__ERROR, "[%s] len is null", name);
        return RESULT__BAD_ARGUMENT;
    }
    static constexpr char digits[] = "0123456789ABCDEF";
    uint32_t count = 0;
    for (uint32_t nibble = 0; nibble < 2 * ICCID_BYTES; ++nibble) {
        const uint8_t digit = nibble % 2 == 0 ? iccid[nibble / 2] >> 4 : iccid[nibble / 2] & 0x0F;
        if (digit == 0x0F) break;
        iccid_unpadded[count++] = digits[digit];
    }
    iccid_unpadded[count] = '\0';
    *len = count;
    return RESULT__OK;
}

uint32_t json_generator__get_eid(const uint8_t *eid, char **json)
{
    static constexpr document_log log = {
        .bad_length =
            [] { log__string(LOG__ERROR, "[json_generator__get_eid] Can't add data inside the json string"); },
        .no_memory = [] { log__string(LOG__ERROR, "[json_generator__get_eid] Can't allocate data to json"); },
        .not_written =
            [] { log__string(LOG__ERROR, "[json_generator__get_eid] Can't add data inside the json string"); },
        .written =
            [](const char *text) {
                log__string(LOG__DEBUG, "[json_generator__get_eid] result json string [%s]", text);
            },
    };
    if (json) *json = nullptr;
    if (!eid) {
        log__string(LOG__ERROR, "[json_generator__get_eid] eid is null");
        return RESULT__BAD_ARGUMENT;
    }
    char digits[2 * EID_BYTES + 1] = {};
    byte_utils__byte_array_to_hex_string(eid, EID_BYTES, digits, sizeof digits - 1);
    return write_document(log, json, "{\"eid\":\"%s\"}", digits);
}

uint32_t json_generator__free_memory(uint32_t free_memory, char **json)
{
    static constexpr document_log log = {
        .bad_length = [] { log__string(LOG__ERROR, "[%s] Bad json length", "json_generator__free_memory"); },
        .no_memory = [] { log__string(LOG__ERROR, "[%s] Can't allocate data to json", "json_generator__free_memory"); },
        .not_written =
            [] {
                log__string(LOG__ERROR, "[%s] Can't add data inside the json string", "json_generator__free_memory");
            },
        .written =
            [](const char *text) {
                log__string(LOG__DEBUG, "[%s] result json string [%s]", "json_generator__free_memory", text);
            },
    };
    return write_document(log, json, "{\"free_memory\":%u}", free_memory);
}

uint32_t json_generator__get_addresses(const char *default_dp_address, const char *root_ds_address, char **json)
{
    static constexpr document_log log = {
        .bad_length =
            [] {
                log__string(LOG__ERROR,
                            "[json_generator__get_addresses] Error calculating the length of the name filed in json");
            },
        .no_memory = [] { log__string(LOG__ERROR, "[json_generator__get_addresses] addresses_json"); },
        .not_written =
            [] {
                log__string(LOG__ERROR,
                            "[json_generator__get_addresses] Error calculating the length of the name filed in json");
            },
        .written =
            [](const char *text) {
                log__string(LOG__DEBUG, "[json_generator__get_addresses] Addresses json [%s]", text);
            },
    };
    if (json) *json = nullptr;
    if (!root_ds_address) return RESULT__BAD_ARGUMENT;
    if (!default_dp_address) return write_document(log, json, "{\"smds\":\"%s\"}", root_ds_address);
    return write_document(log, json, "{\"smds\":\"%s\",\"smdp\":\"%s\"}", root_ds_address, default_dp_address);
}

// ---- Profile object -----------------------------------------------------------------------------------------------

namespace {

struct profile_fields {
    const char *iccid; // digits, null when absent, like state
    const uint8_t *state;
    const char *nickname; // null or empty when absent, like the texts below
    const char *service_provider_name;
    const char *profile_name;
    uint8_t bootstrap;
};

bool has_text(const char *text) { return text && *text; }

void log_profile_fields(const uint8_t *iccid, const profile_fields &fields)
{
    if (iccid) log__data(LOG__DEBUG, "[json_generator__profile_info] iccid", iccid, ICCID_BYTES);
    if (fields.state) log__string(LOG__DEBUG, "[json_generator__profile_info] profileState %01X", *fields.state);
    if (has_text(fields.nickname))
        log__string(LOG__DEBUG, "[json_generator__profile_info] profileNickname %s", fields.nickname);
    if (has_text(fields.service_provider_name))
        log__string(LOG__DEBUG, "[json_generator__profile_info] serviceProviderName %s", fields.service_provider_name);
    if (has_text(fields.profile_name))
        log__string(LOG__DEBUG, "[json_generator__profile_info] profileName %s", fields.profile_name);
}

uint32_t field_failed(const char *message)
{
    log__string(LOG__ERROR, "%s", message);
    return RESULT__FATAL_ERROR;
}

uint32_t write_profile(json_writer &out, const profile_fields &fields)
{
    const char *separator = "{"; // before the first field, a comma before the others
    if (fields.iccid) {
        if (!append(out, "%s\"iccid\":\"%s\"", separator, fields.iccid))
            return field_failed("[json_generator__profile_info] Error adding the ProfileInfo iccid in json");
        separator = ",";
    }
    if (fields.state) {
        if (!append(out, "%s\"status\":%01X", separator, *fields.state))
            return field_failed("[json_generator__profile_info] Error adding the ProfileInfo profileState in json");
        separator = ",";
    }
    if (has_text(fields.nickname)) {
        if (!append(out, "%s\"nickname\":\"%s\"", separator, fields.nickname))
            return field_failed("[json_generator__profile_info] Error adding the ProfileInfo profileNickname in json");
        separator = ",";
    }
    if (has_text(fields.service_provider_name)) {
        if (!append(out, "%s\"provider\":\"%s\"", separator, fields.service_provider_name))
            return field_failed(
                "[json_generator__profile_info] Error adding the ProfileInfo serviceProviderName in json");
        separator = ",";
    }
    if (has_text(fields.profile_name)) {
        if (!append(out, "%s\"name\":\"%s\"", separator, fields.profile_name))
            return field_failed("[json_generator__profile_info] Error adding the ProfileInfo profileName in json");
        separator = ",";
    }
    if (!append(out, "%s\"bootstrap\":%01X}", separator, fields.bootstrap))
        return field_failed("[json_generator__profile_info] Error adding the ProfileInfo bootstrapState in json");
    return RESULT__OK;
}

} // namespace

uint32_t json_generator__profile_info(const uint8_t *iccid, const uint8_t *state, const char *nickname,
                                      const char *service_provider_name, const char *profile_name, char **json)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    char digits[iccid_text_size] = {};
    uint32_t digit_count = 0;
    if (iccid) json_generator__remove_iccid_padding(iccid, digits, &digit_count);
    const profile_fields fields = {
        .iccid = iccid ? digits : nullptr,
        .state = state,
        .nickname = nickname,
        .service_provider_name = service_provider_name,
        .profile_name = profile_name,
        .bootstrap = is_bootstrap_profile(digits, digit_count),
    };
    log_profile_fields(iccid, fields);

    json_writer measured;
    uint32_t rc = write_profile(measured, fields);
    if (rc != RESULT__OK) return rc;
    owned_text text(static_cast<char *>(M_malloc(measured.end + 1)));
    if (!text.data) {
        log__string(LOG__ERROR, "[json_generator__profile_info] Can't allocate data to json");
        return RESULT__NO_MEMORY;
    }
    json_writer out{.text = text.data, .size = measured.end + 1};
    rc = write_profile(out, fields);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__DEBUG, "[json_generator__profile_info] ProfileInfo JSON %s", text.data);
    *json = text.hand_over();
    return RESULT__OK;
}

// ---- Results of operations ----------------------------------------------------------------------------------------

namespace {

uint32_t profile_installed(const NotificationMetadata &metadata, char **json)
{
    static constexpr document_log log = {
        .bad_length = [] { log__string(LOG__ERROR, "[json_generator__install_profile_result] Bad json length"); },
        .no_memory =
            [] { log__string(LOG__ERROR, "[json_generator__install_profile_result] Can't allocate data to json"); },
        .not_written =
            [] {
                log__string(LOG__ERROR,
                            "[json_generator__install_profile_result] Can't add data inside the json string");
            },
        .written =
            [](const char *text) {
                log__string(LOG__DEBUG, "[json_generator__install_profile_result] result json string [%s]", text);
            },
    };
    static constexpr const char *description = "Profile installed";
    if (!metadata.iccid_present) return json_generator__result_description(0, description, json);

    uint8_t iccid[ICCID_BYTES];
    memcpy(iccid, metadata.iccid, sizeof iccid);
    const uint32_t rc = byte_utils__iccid_parse_format(iccid, ICCID_ORDER_PLAIN);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[json_generator__install_profile_result] Error parsing the ICCID to a plain format, rc %d", rc);
        return rc;
    }
    char digits[iccid_text_size];
    uint32_t length = 0;
    json_generator__remove_iccid_padding(iccid, digits, &length);
    return write_document(log, json, "{\"result\":%d,\"description\":\"%s\",\"iccid\":\"%s\"}", 0, description, digits);
}

} // namespace

uint32_t json_generator__install_profile_result(const ProfileInstallationResult *installation, char **json,
                                                uint8_t *result)
{
    if (!installation || !json || !result) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    if (installation->finalResult == FINAL_RESULT__SUCCESS) {
        const uint32_t rc = profile_installed(installation->notificationMetadata, json);
        if (rc == RESULT__OK) *result = 0;
        return rc;
    }
    const uint8_t reason = installation->errorReason;
    const char *description = find_description(install_error_reasons, reason);
    if (!description) {
        log__string(LOG__ERROR, "[json_generator__install_profile_result] Unknown finalResult errorReason %d", reason);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t rc = json_generator__result_description(reason, description, json);
    if (rc == RESULT__OK) *result = reason;
    return rc;
}

uint32_t json_generator__enable_profile(uint32_t enable_result, char **json, uint8_t *result)
{
    static constexpr auto log_unknown = [](uint32_t value) {
        log__string(LOG__ERROR, "[json_generator__enable_profile] Unknown enableResult %d", value);
    };
    return describe(enable_outcomes, enable_result, log_unknown, json, result);
}

uint32_t json_generator__disable_profile(uint32_t disable_result, char **json, uint8_t *result)
{
    static constexpr auto log_unknown = [](uint32_t value) {
        log__string(LOG__ERROR, "[json_generator__disable_profile] Unknown disableResult %d", value);
    };
    return describe(disable_outcomes, disable_result, log_unknown, json, result);
}

uint32_t json_generator__delete_profile(uint32_t delete_result, char **json, uint8_t *result)
{
    static constexpr auto log_unknown = [](uint32_t value) {
        log__string(LOG__ERROR, "[json_generator__delete_profile] Unknown deleteResult %d", value);
    };
    return describe(delete_outcomes, delete_result, log_unknown, json, result);
}

uint32_t json_generator__profile_nickname(uint32_t set_nickname_result, uint8_t nickname_empty, char **json,
                                          uint8_t *result)
{
    static constexpr auto log_unknown = [](uint32_t value) {
        log__string(LOG__ERROR, "[json_generator__profile_nickname] Unknown setNicknameResult %d", value);
    };
    const outcome outcomes[] = {
        {0, nickname_empty ? "Nickname removed" : "Nickname has been set"},
        {1, "Nickname not set. Profile ICCID not found"},
        {127, "Nickname not set. Undefined error"},
    };
    return describe(outcomes, set_nickname_result, log_unknown, json, result);
}

uint32_t json_generator__set_default_dp_address(uint32_t set_default_dp_address_result, uint8_t address_empty,
                                                char **json, uint8_t *result)
{
    // Log readers know this line under the nickname's name.
    static constexpr auto log_unknown = [](uint32_t value) {
        log__string(LOG__ERROR, "[json_generator__profile_nickname] Unknown setNicknameResult %d", value);
    };
    const outcome outcomes[] = {
        {0, address_empty ? "Default SM-DP+ address removed" : "Default SM-DP+ address changed"},
        {127, "Default SM-DP+ address not changed. Undefined error"},
    };
    return describe(outcomes, set_default_dp_address_result, log_unknown, json, result);
}

// ---- Notification -------------------------------------------------------------------------------------------------

namespace {

// The record's bytes are in plain order and shown as they stand; bringing them into it only checks them.
uint32_t notification_iccid(const NotificationMetadata &metadata, char digits[iccid_text_size])
{
    uint8_t iccid[ICCID_BYTES];
    memcpy(iccid, metadata.iccid, sizeof iccid);
    uint32_t length = 0;
    json_generator__remove_iccid_padding(iccid, digits, &length);
    const uint32_t rc = byte_utils__iccid_parse_format(iccid, ICCID_ORDER_PLAIN);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR,
                    "[json_generator__notification_metadata] Error parsing the ICCID to a plain format, rc %d", rc);
    return rc;
}

bool write_notification(json_writer &out, const NotificationMetadata &metadata, const char *iccid)
{
    if (!append(out, "{\"sequence_number\":%u,\"event\":%d,\"address\":\"%s\"", metadata.seqNumber,
                metadata.profileManagementOperation, metadata.notificationAddress))
        return false;
    if (out.text)
        log__string(LOG__DEBUG, "[json_generator__notification_metadata] Json with required fields '%s'", out.text);
    if (metadata.iccid_present && !append(out, ",\"iccid\":\"%s\"", iccid)) return false;
    return append(out, "}");
}

} // namespace

uint32_t json_generator__notification_metadata(const NotificationMetadata *metadata, char **json)
{
    if (!metadata || !json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    log__string(
        LOG__DEBUG,
        "[json_generator__notification_metadata] sequence_number %lu, profile_management_operation %d, notification_address '%s'",
        (unsigned long)metadata->seqNumber, metadata->profileManagementOperation, metadata->notificationAddress);
    char iccid[iccid_text_size] = {};
    if (metadata->iccid_present) {
        const uint32_t rc = notification_iccid(*metadata, iccid);
        if (rc != RESULT__OK) return rc;
    }
    json_writer measured;
    if (!write_notification(measured, *metadata, iccid)) {
        log__string(LOG__ERROR, "[json_generator__notification_metadata] Bad json length");
        return RESULT__FATAL_ERROR;
    }
    owned_text text(static_cast<char *>(M_malloc(measured.end + 1)));
    if (!text.data) {
        log__string(LOG__ERROR, "[json_generator__notification_metadata] Can't allocate data to json");
        return RESULT__NO_MEMORY;
    }
    json_writer out{.text = text.data, .size = measured.end + 1};
    if (!write_notification(out, *metadata, iccid)) {
        log__string(LOG__ERROR, "[json_generator__notification_metadata] Can't add data inside the json string");
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__DEBUG, "[json_generator__notification_metadata] json result '%s'", text.data);
    *json = text.hand_over();
    return RESULT__OK;
}
