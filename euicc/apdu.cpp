#include "euicc/apdu.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <lgsm.h>

namespace {
constexpr int at_timeout = 60;
constexpr int at_attempts = 2;
constexpr uint32_t at_error_pause = 10; // seconds
constexpr uint32_t sw_characters = 4;
constexpr uint32_t sw_bytes = 2;
// Where a chain of 61xx that never ends is given up. Honest cards stay far below both.
constexpr uint32_t response_max_bytes = 1024 * 1024;
constexpr uint32_t empty_pieces_max = 100000; // in a row
constexpr uint16_t sw_ok = 0x9000;
constexpr uint16_t sw_ok_proactive = 0x9100; // ETSI TS 102 221: done, and a proactive command of no length is pending

__attribute__((format(printf, 3, 4))) int format_text(char *text, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, size, format, arguments);
    va_end(arguments);
    return length;
}
} // namespace

void apdu_utils__free_response(ApduResponse *response)
{
    M_free(response->data);
    *response = {};
}

uint8_t apdu_utils__sw_is_success(const ApduResponse *response)
{
    return response->sw == sw_ok || response->sw == sw_ok_proactive;
}

uint8_t apdu_utils__sw_response_available(const ApduResponse *response) { return response->sw >> 8 == 0x61; }

uint32_t at_utils__APDU_to_CSIM_command(const uint8_t *apdu, uint16_t length, char **command)
{
    *command = nullptr;
    log__data(LOG__TRACE, "at_utils__APDU_to_CSIM_command apdu", apdu, length);
    const uint32_t characters = 2U * length;
    const int digits = format_text(nullptr, 0, "%u", characters);
    if (digits < 0) {
        log__string(LOG__ERROR, "[at_utils__APDU_to_CSIM_command] AT_length_num_digits < 0");
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__TRACE, "[at_utils__APDU_to_CSIM_command] AT_length_num_digits: %d", digits);
    constexpr uint32_t fixed_characters = sizeof "AT+CSIM=,\"\"\r\n" - 1;
    const uint32_t text_length = characters + fixed_characters + static_cast<uint32_t>(digits);
    log__string(LOG__TRACE, "[at_utils__APDU_to_CSIM_command] at_command_length: %u", text_length);
    owned_text text(static_cast<char *>(M_malloc(text_length + 1)));
    if (!text.data) {
        log__string(LOG__ERROR, "[at_utils__APDU_to_CSIM_command] Can't allocate data to AT_command");
        return RESULT__NO_MEMORY;
    }
    const int head_length = format_text(text.data, text_length + 1, "AT+CSIM=%u,\"", characters);
    if (head_length < 0) {
        log__string(LOG__ERROR,
                    "[at_utils__APDU_to_CSIM_command] Error adding the APDU length in the AT+CSIM={length},\" string");
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__TRACE, "[at_utils__APDU_to_CSIM_command] AT command first part[%s]", text.data);
    char *const digits_begin = text.data + head_length;
    if (length > 0 && // all digits in one go: nothing fails behind the first byte
        (!apdu || byte_utils__byte_array_to_hex_string(apdu, length, digits_begin, characters) != RESULT__OK)) {
        log__string(LOG__ERROR, "[at_utils__APDU_to_CSIM_command] Binary APDU data to string failed, i: %d", 0);
        return RESULT__FATAL_ERROR;
    }
    memcpy(digits_begin + characters, "\"\r\n", sizeof "\"\r\n");
    log__string(LOG__TRACE, "[at_utils__APDU_to_CSIM_command] generated AT command [%s]", text.data);
    *command = text.hand_over();
    return RESULT__OK;
}

namespace {
struct hex_text {
    const char *characters;
    size_t length;
};

// What stands between the quotes of +CSIM: <length>,"<response>". The quotes tell the length; the number is not read.
uint32_t find_csim_response(const char *answer, hex_text *found)
{
    constexpr const char *tag = "+CSIM:";
    const char *const csim = strstr(answer, tag);
    if (!csim) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] '%s' not found", tag);
        return RESULT__FATAL_ERROR;
    }
    const char *const first = strchr(csim, '"');
    if (!first) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] first '\"' not found");
        return RESULT__FATAL_ERROR;
    }
    const char *const second = strchr(first + 1, '"');
    if (!second) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] second '\"' not found");
        return RESULT__FATAL_ERROR;
    }
    *found = {first + 1, static_cast<size_t>(second - first - 1)};
    if (found->length < sw_characters || found->length % 2 != 0) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] apdu response length is invalid");
        return RESULT__FATAL_ERROR;
    }
    return RESULT__OK;
}

uint32_t read_apdu_data(const char *text, uint32_t length, ApduResponse *response)
{
    owned_bytes data(static_cast<uint8_t *>(M_malloc(length)));
    if (!data.data) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] memory allocation for the apdu_response failed");
        return RESULT__NO_MEMORY;
    }
    for (uint32_t i = 0; i < length; ++i) {
        if (byte_utils__hex_string_to_byte(text + size_t{2} * i, &data.data[i]) != RESULT__OK) {
            log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] failed to parse the data of the APDU");
            return RESULT__FATAL_ERROR;
        }
    }
    log__data(LOG__TRACE, "[at_utils__CSIM_response_to_APDU] APDU data", data.data, length);
    response->data = data.hand_over();
    response->length = length;
    return RESULT__OK;
}
} // namespace

uint32_t at_utils__CSIM_response_to_APDU(const char *answer, ApduResponse *response)
{
    *response = {};
    if (!answer || *answer == '\0') return RESULT__BAD_ARGUMENT;
    log__string(LOG__TRACE, "[at_utils__CSIM_response_to_APDU] AT_response [%s]", answer);
    hex_text text = {};
    uint32_t rc = find_csim_response(answer, &text);
    if (rc != RESULT__OK) return rc;
    uint16_t sw = 0;
    if (byte_utils__hex_string_to_short(text.characters + text.length - sw_characters, &sw) != RESULT__OK) {
        log__string(LOG__ERROR, "[at_utils__CSIM_response_to_APDU] failed to parse the SW of the APDU");
        return RESULT__FATAL_ERROR;
    }
    const auto length = static_cast<uint32_t>(text.length / 2 - sw_bytes);
    log__string(LOG__TRACE, "[at_utils__CSIM_response_to_APDU] APDU SW [0x%04X] and data length [%d]", sw, length);
    if (length > 0) rc = read_apdu_data(text.characters, length, response);
    if (rc == RESULT__OK) response->sw = sw;
    return rc;
}

namespace {
// Releases the modem library's text, which is not one of ours.
struct modem_text {
    char *text = nullptr;
    modem_text() = default;
    modem_text(const modem_text &) = delete;
    modem_text &operator=(const modem_text &) = delete;
    ~modem_text() { free(text); }
};

uint32_t copy_answer(const char *text, char *answer)
{
    const size_t length = strlen(text);
    if (length >= AT_ANSWER_SIZE) {
        log__string(LOG__ERROR, "[eUICC__send_AT_command] failed");
        return RESULT__FATAL_ERROR;
    }
    memcpy(answer, text, length + 1);
    return RESULT__OK;
}
} // namespace

uint32_t eUICC__send_AT_command(ModemHandle *handle, const char *command, char *answer)
{
    if (!handle || !command || !answer) {
        log__string(LOG__ERROR, "[eUICC__send_AT_command] port or at_command is null");
        return RESULT__BAD_ARGUMENT;
    }
    *answer = '\0';
    log__string(LOG__DEBUG, "[eUICC__send_AT_command] at_command [%s]", command);
    for (int attempt = 1;; ++attempt) {
        modem_text response;
        const int rc = lgsm_exec(&handle->ubus, command, &response.text, handle->modem_number, at_timeout);
        if (rc != 0) {
            response.text = nullptr; // nothing was handed to us, whatever the pointer says
            log__string(LOG__ERROR, "[eUICC__send_AT_command] write_serial_port failed, rc %d", rc);
            return RESULT__MODEM_ERROR;
        }
        const char *text = response.text ? response.text : "";
        log__string(LOG__DEBUG, "[eUICC__send_AT_command] gsm_response [%s]", text);
        if (attempt > 1)
            log__string(LOG__WARN, "[eUICC__send_AT_command] retry %d request [%s] gsm_response [%s]", attempt, command,
                        text);
        if (!strstr(text, "ERROR")) return copy_answer(text, answer);
        log__string(LOG__WARN, "[eUICC__send_AT_command] retry %d gsm_response with error [%s]", attempt, text);
        if (attempt == at_attempts) break;
        timer__sleep(at_error_pause);
    }
    log__string(LOG__ERROR, "[eUICC__send_AT_command] failed");
    return RESULT__SIM_CARD_ERROR;
}

namespace {
// One command and its answer are the same three steps, under two names in the log.
struct exchange_texts { // each with one %d, the code
    const char *encoding_failed;
    const char *sending_failed;
    const char *decoding_failed;
};

constexpr exchange_texts command_texts = {
    "[eUICC__send_apdu] at_utils__APDU_to_CSIM_command failed, rc %d",
    "[eUICC__send_apdu] eUICC__send_AT_command failed, rc %d",
    "[eUICC__send_apdu] at_utils__CSIM_response_to_APDU failed, rc %d",
};

constexpr exchange_texts get_response_texts = {
    "[eUICC__send_get_response_apdu] at_utils__APDU_to_CSIM_command failed, rc %d",
    "[eUICC__send_get_response_apdu] eUICC__send_AT_command failed, rc %d",
    "[eUICC__send_get_response_apdu] at_utils__CSIM_response_to_APDU failed, rc %d",
};

uint32_t send_as_csim(const exchange_texts &texts, ModemHandle *handle, const uint8_t *apdu, uint16_t length,
                      char *answer)
{
    owned_text command;
    uint32_t rc = at_utils__APDU_to_CSIM_command(apdu, length, &command.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, texts.encoding_failed, rc);
        return rc;
    }
    rc = eUICC__send_AT_command(handle, command.data, answer);
    if (rc != RESULT__OK) log__string(LOG__ERROR, texts.sending_failed, rc);
    return rc;
}

uint32_t exchange(const exchange_texts &texts, ModemHandle *handle, const uint8_t *apdu, uint16_t length,
                  ApduResponse *response)
{
    char answer[AT_ANSWER_SIZE];
    uint32_t rc = send_as_csim(texts, handle, apdu, length, answer);
    if (rc != RESULT__OK) return rc;
    rc = at_utils__CSIM_response_to_APDU(answer, response);
    if (rc != RESULT__OK) log__string(LOG__ERROR, texts.decoding_failed, rc);
    return rc;
}

uint32_t append_piece(ApduResponse *response, const ApduResponse &piece)
{
    uint8_t *data = nullptr;
    const uint32_t length = response->length + piece.length; // small numbers both
    if (length <= response_max_bytes)
        data = static_cast<uint8_t *>(response->data ? M_realloc(response->data, length) : M_malloc(length));
    if (!data) {
        if (response->data)
            log__string(LOG__ERROR, "[eUICC__send_apdu] Get response, reallocation for the apdu_response data failed");
        else log__string(LOG__ERROR, "[eUICC__send_apdu] Get response, allocation for the apdu_response data failed");
        return RESULT__NO_MEMORY;
    }
    memcpy(data + response->length, piece.data, piece.length);
    response->data = data;
    response->length = length;
    return RESULT__OK;
}

// Fetches the next piece from the logical channel that the command's class byte names.
uint32_t get_response(ModemHandle *handle, uint8_t class_byte, ApduResponse *response)
{
    const uint8_t apdu[] = {class_byte, 0xC0, 0x00, 0x00, static_cast<uint8_t>(response->sw)};
    ApduResponse piece = {};
    uint32_t rc = exchange(get_response_texts, handle, apdu, sizeof apdu, &piece);
    if (rc != RESULT__OK) return rc;
    log__data(LOG__DEBUG, "[eUICC__send_get_response_apdu] get_response data", piece.data, piece.length);
    if (piece.length > 0) rc = append_piece(response, piece);
    response->sw = piece.sw;
    apdu_utils__free_response(&piece);
    if (rc != RESULT__OK) return rc;
    log__data(LOG__DEBUG, "[eUICC__send_get_response_apdu] apdu_response data", response->data, response->length);
    return RESULT__OK;
}

uint32_t collect_response(ModemHandle *handle, uint8_t class_byte, ApduResponse *response)
{
    for (uint32_t empty_pieces = 0; apdu_utils__sw_response_available(response);) {
        const uint32_t length = response->length;
        const uint32_t rc = get_response(handle, class_byte, response);
        if (rc != RESULT__OK) return rc;
        empty_pieces = response->length > length ? 0 : empty_pieces + 1;
        if (empty_pieces > empty_pieces_max) {
            log__string(LOG__ERROR, get_response_texts.decoding_failed, RESULT__FATAL_ERROR);
            return RESULT__FATAL_ERROR;
        }
    }
    return RESULT__OK;
}
} // namespace

uint32_t eUICC__send_apdu(ModemHandle *handle, const uint8_t *apdu, uint16_t length, ApduResponse *response)
{
    *response = {};
    if (!apdu || length == 0) {
        log__string(LOG__ERROR, command_texts.encoding_failed, RESULT__BAD_ARGUMENT);
        return RESULT__BAD_ARGUMENT;
    }
    uint32_t rc = exchange(command_texts, handle, apdu, length, response);
    if (rc == RESULT__OK) rc = collect_response(handle, apdu[0], response);
    if (rc != RESULT__OK) apdu_utils__free_response(response);
    return rc;
}

namespace {
// The last mode of a list such as +CMEE: (0-2), which is the most detailed one.
int best_cmee_mode(const char *answer)
{
    const char *const end = strchr(answer, ')');
    if (!end || end == answer) {
        log__string(LOG__DEBUG, "[eUICC__cmee] End of the CMEE response list not found");
        return 0;
    }
    const char last = end[-1];
    log__string(LOG__DEBUG, "[eUICC__cmee] CMEE char found '%c'", last);
    return last >= '0' && last <= '9' ? last - '0' : 0;
}
} // namespace

uint32_t eUICC__cmee(ModemHandle *handle)
{
    char answer[AT_ANSWER_SIZE];
    int mode = 0;
    if (const uint32_t rc = eUICC__send_AT_command(handle, "AT+CMEE=?\r\n", answer); rc != RESULT__OK) {
        log__string(LOG__DEBUG, "[eUICC__cmee] Error on list the supported write values for AT+CMEE, rc %d", rc);
    } else {
        mode = best_cmee_mode(answer);
        log__string(LOG__DEBUG, "[eUICC__cmee] CMEE value %d", mode);
    }
    char command[sizeof "AT+CMEE=0\r\n"] = "AT+CMEE=0\r\n";
    command[sizeof "AT+CMEE=" - 1] = static_cast<char>('0' + mode);
    return eUICC__send_AT_command(handle, command, answer);
}
