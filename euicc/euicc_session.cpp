#include "euicc/euicc_session.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include <algorithm>
#include <cstring>

namespace {
constexpr int initialize_attempts = 3;
constexpr uint32_t initialize_pause = 2; // seconds
constexpr uint32_t refresh_pause = 1;    // seconds

constexpr uint16_t sw_already_closed = 0x6200;
constexpr uint16_t sw_refresh_pending = 0x6985;
constexpr uint16_t sw_bad_data = 0x6A80;
constexpr uint16_t sw_unknown_command = 0x6A88;

constexpr uint8_t store_data_class = 0x80;
constexpr uint8_t store_data_instruction = 0xE2;
constexpr uint8_t store_data_more = 0x11; // P1 of a block that others follow
constexpr uint8_t store_data_last = 0x91;
constexpr uint32_t store_data_overhead = 6; // header, Lc and Le

constexpr uint8_t first_extended_channel = 4; // ISO 7816-4: channels from 4 on have a class byte of another form

// ISO 7816-4, 5.4.1: the channel goes into the low bits; where the secure messaging indication stands depends on the
// form of the class byte, so it moves when the form changes.
uint8_t class_byte_on_channel(uint8_t class_byte, uint8_t channel)
{
    const unsigned kept = class_byte & 0x90U;
    const bool extended = class_byte & 0x40U;
    const bool secure = class_byte & (extended ? 0x20U : 0x04U);
    if (channel < first_extended_channel) return static_cast<uint8_t>(kept | channel | (secure ? 0x04U : 0U));
    const unsigned number = (channel - first_extended_channel) & 0x0FU;
    return static_cast<uint8_t>(kept | 0x40U | number | (secure ? 0x20U : 0U));
}
} // namespace

uint32_t eUICC__send_apdu_on_channel(ModemHandle *handle, uint8_t channel, uint8_t *apdu, uint16_t length,
                                     ApduResponse *response)
{
    if (apdu && length > 0) apdu[0] = class_byte_on_channel(apdu[0], channel);
    return eUICC__send_apdu(handle, apdu, length, response);
}

namespace {
uint32_t open_logical_channel(ModemHandle *handle, uint8_t *channel)
{
    constexpr uint8_t manage_channel_open[] = {0x00, 0x70, 0x00, 0x00, 0x01};
    ApduResponse response;
    uint32_t rc = eUICC__send_apdu(handle, manage_channel_open, sizeof manage_channel_open, &response);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__open_logical_channel] eUICC__send_apdu failed, rc %d", rc);
        return rc;
    }
    if (apdu_utils__sw_is_success(&response) && response.length > 0) {
        *channel = response.data[0];
    } else {
        log__string(LOG__ERROR, "[eUICC__open_logical_channel] Error opening the logical channel, SW %04X",
                    response.sw);
        rc = RESULT__SESSION_CANCELLED;
    }
    handle->logical_channel = *channel;
    apdu_utils__free_response(&response);
    return rc;
}

uint32_t close_logical_channel(ModemHandle *handle, uint8_t channel)
{
    const uint8_t manage_channel_close[] = {0x00, 0x70, 0x80, channel, 0x00};
    ApduResponse response;
    uint32_t rc = eUICC__send_apdu(handle, manage_channel_close, sizeof manage_channel_close, &response);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__close_logical_channel] eUICC__send_apdu failed, rc %d", rc);
        return rc;
    }
    if (apdu_utils__sw_is_success(&response)) {
        log__string(LOG__DEBUG, "[eUICC__close_logical_channel] Logical channel %02X closed", channel);
    } else if (response.sw == sw_already_closed) {
        log__string(LOG__DEBUG, "[eUICC__close_logical_channel] Logical channel %02X was already closed", channel);
    } else {
        log__string(LOG__ERROR, "[eUICC__close_logical_channel] Logical channel %02X not closed", channel);
        rc = RESULT__FATAL_ERROR;
    }
    handle->logical_channel = 0;
    apdu_utils__free_response(&response);
    return rc;
}

// A command on the channel of which only the status word counts.
struct setup_texts {
    const char *sending_failed; // %d code
    const char *refused;        // %04X status word
};

uint32_t send_setup_command(const setup_texts &texts, ModemHandle *handle, uint8_t channel, uint8_t *apdu,
                            uint16_t length)
{
    ApduResponse response;
    uint32_t rc = eUICC__send_apdu_on_channel(handle, channel, apdu, length, &response);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, texts.sending_failed, rc);
        return rc;
    }
    if (!apdu_utils__sw_is_success(&response)) {
        log__string(LOG__WARN, texts.refused, response.sw);
        rc = RESULT__FATAL_ERROR;
    }
    apdu_utils__free_response(&response);
    return rc;
}

uint32_t report_terminal_capability(ModemHandle *handle, uint8_t channel)
{
    constexpr setup_texts texts = {
        "[eUICC__terminal_capability] eUICC__send_apdu failed, rc %d",
        "[eUICC__terminal_capability] Error reporting terminal capabilities, SW %04X",
    };
    // ETSI TS 102 221: template A9, tag 83 with the eUICC related capabilities (LUId, LPDd and LDSd are supported).
    uint8_t apdu[] = {0x80, 0xAA, 0x00, 0x00, 0x05, 0xA9, 0x03, 0x83, 0x01, 0x07};
    return send_setup_command(texts, handle, channel, apdu, sizeof apdu);
}

uint32_t select_isdr(ModemHandle *handle, uint8_t channel)
{
    constexpr setup_texts texts = {
        "[eUICC__select_ISDR_application] eUICC__send_apdu_on_channel failed, rc %d",
        "[eUICC__select_ISDR_application] Error selecting the ISDR Application, SW %04X",
    };
    // The ISD-R's application identifier: GSMA SGP.02, annex H.
    uint8_t apdu[] = {0x00, 0xA4, 0x04, 0x00, 0x10, 0xA0, 0x00, 0x00, 0x05, 0x59, 0x10,
                      0x10, 0xFF, 0xFF, 0xFF, 0xFF, 0x89, 0x00, 0x00, 0x01, 0x00, 0x00};
    return send_setup_command(texts, handle, channel, apdu, sizeof apdu);
}

// The card counts its channels across processes: any other first channel than 1 means that somebody left some open.
uint32_t open_first_channel(ModemHandle *handle, uint8_t *channel)
{
    const uint32_t rc = open_logical_channel(handle, channel);
    if (rc != RESULT__OK || *channel == 1) return rc;
    const uint32_t highest = *channel;
    log__string(LOG__ERROR, "[eUICC__initialize] eSIM communication out of sync, logical channel %d selected", highest);
    for (uint32_t open = 1; open <= highest; ++open) {
        const uint32_t close_rc = close_logical_channel(handle, static_cast<uint8_t>(open));
        if (close_rc != RESULT__OK)
            log__string(LOG__ERROR, "[eUICC__initialize]] Error closing logical channel, rc %d", close_rc);
    }
    return open_logical_channel(handle, channel);
}

uint32_t reach_isdr(ModemHandle *handle, uint8_t channel)
{
    log__string(LOG__DEBUG, "[eUICC__initialize] Logical channel %02X opened", channel);
    log__string(LOG__DEBUG, "[eUICC__initialize] Reporting the terminal capabilities");
    uint32_t rc = report_terminal_capability(handle, channel);
    if (rc != RESULT__OK) {
        log__string(LOG__WARN, "[eUICC__initialize] eUICC__terminal_capability failed, rc %d", rc);
        return RESULT__ISDR_UNREACHABLE;
    }
    log__string(LOG__DEBUG, "[eUICC__initialize] Terminal capabilities reported");
    log__string(LOG__DEBUG, "[eUICC__initialize] Selecting the ISDR application");
    rc = select_isdr(handle, channel);
    if (rc != RESULT__OK) {
        log__string(LOG__WARN, "[eUICC__initialize] Error selecting the ISDR application, rc %d", rc);
        return RESULT__ISDR_UNREACHABLE;
    }
    log__string(LOG__DEBUG, "[eUICC__initialize] ISDR Application selected");
    return RESULT__OK;
}

uint32_t open_channel_and_reach_isdr(ModemHandle *handle, uint8_t *channel)
{
    log__string(LOG__DEBUG, "[eUICC__initialize] modem opened");
    if (const uint32_t rc = eUICC__cmee(handle); rc != RESULT__OK)
        log__string(LOG__ERROR, "[eUICC__initialize] eUICC__cmee failed, rc %d", rc);
    log__string(LOG__DEBUG, "[eUICC__initialize] Opening a logical channel");
    uint32_t rc = open_first_channel(handle, channel);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__initialize] Error opening logical channel, rc %d", rc);
        const int32_t close_rc = close_modem(handle);
        if (close_rc < 0) log__string(LOG__ERROR, "[eUICC__initialize] Failed to close modem, rc %d", close_rc);
        return rc;
    }
    rc = reach_isdr(handle, *channel);
    if (rc == RESULT__OK) return rc;
    const uint32_t terminate_rc = eUICC__terminate(handle, *channel);
    if (terminate_rc != RESULT__OK)
        log__string(LOG__ERROR, "[eUICC__initialize] eUICC__terminate failed, rc %d", terminate_rc);
    return rc;
}

uint32_t initialize_once(const char *modem, ModemHandle **handle, uint8_t *channel)
{
    *handle = nullptr;
    log__string(LOG__DEBUG, "[eUICC__initialize] Opening the modem");
    ModemHandle *opened = open_modem(modem);
    if (!opened) {
        log__string(LOG__ERROR, "[eUICC__initialize] Failed to open modem");
        return RESULT__FATAL_ERROR;
    }
    const uint32_t rc = open_channel_and_reach_isdr(opened, channel);
    if (rc == RESULT__OK) *handle = opened;
    return rc;
}
} // namespace

uint32_t eUICC__initialize(const char *modem, ModemHandle **handle, uint8_t *channel)
{
    *channel = 0;
    for (int attempt = 1;; ++attempt) {
        const uint32_t rc = initialize_once(modem, handle, channel);
        if (rc != RESULT__ISDR_UNREACHABLE && rc != RESULT__SESSION_CANCELLED) return rc;
        if (attempt == initialize_attempts) return rc;
        log__string(LOG__WARN, "[%s] Retry %d to initialize the eUICC", __func__, attempt);
        timer__sleep(initialize_pause);
    }
}

uint32_t eUICC__terminate(ModemHandle *handle, uint8_t channel)
{
    const uint32_t channel_rc = close_logical_channel(handle, channel);
    if (channel_rc != RESULT__OK)
        log__string(LOG__ERROR, "[eUICC__terminate] Error closing logical channel, rc %d", channel_rc);
    log__string(LOG__DEBUG, "[eUICC__terminate] Closing modem");
    const int32_t rc = close_modem(handle);
    if (rc < 0) {
        log__string(LOG__ERROR, "[eUICC__terminate] Failed to close modem, rc %d", rc);
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__DEBUG, "[eUICC__terminate] modem closed");
    return RESULT__OK;
}

namespace {
// Writes one STORE DATA command; apdu has room for length + store_data_overhead bytes. Returns the command's length.
uint16_t write_store_data(uint8_t *apdu, uint8_t p1, uint8_t block_number, const uint8_t *data, uint32_t length)
{
    const uint8_t header[] = {store_data_class, store_data_instruction, p1, block_number, static_cast<uint8_t>(length)};
    memcpy(apdu, header, sizeof header);
    if (length > 0) memcpy(apdu + sizeof header, data, length);
    apdu[sizeof header + length] = 0x00; // Le: whatever the card has to say
    return static_cast<uint16_t>(length + store_data_overhead);
}

uint32_t send_store_data_apdu_on_channel(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                                         ApduResponse *response)
{
    if (!data && length > 0) return RESULT__BAD_ARGUMENT;
    uint8_t apdu[APDU_MAX_COMMAND_DATA_SIZE + store_data_overhead];
    uint8_t block_number = 0; // of 8 bits on the card too: after 255 comes 0
    for (; length > APDU_MAX_COMMAND_DATA_SIZE; ++block_number) {
        const uint16_t size = write_store_data(apdu, store_data_more, block_number, data, APDU_MAX_COMMAND_DATA_SIZE);
        const uint32_t rc = eUICC__send_apdu_on_channel(handle, channel, apdu, size, response);
        if (rc != RESULT__OK) return rc;
        const bool success = apdu_utils__sw_is_success(response);
        if (!success)
            log__string(LOG__ERROR, "[eUICC__send_store_data_apdu_on_channel] store data %d failed, SW %02X",
                        block_number, response->sw);
        apdu_utils__free_response(response);
        if (!success) return RESULT__FATAL_ERROR;
        data += APDU_MAX_COMMAND_DATA_SIZE;
        length -= APDU_MAX_COMMAND_DATA_SIZE;
    }
    const uint16_t size = write_store_data(apdu, store_data_last, block_number, data, length);
    return eUICC__send_apdu_on_channel(handle, channel, apdu, size, response);
}

void hand_over(const ApduResponse &from, uint8_t **response, uint32_t *response_length)
{
    *response = from.data;
    *response_length = from.length;
}

uint32_t explain_refusal(uint16_t sw)
{
    switch (sw) {
    case sw_bad_data:
        log__string(LOG__WARN, "[eUICC__store_data] Incorrect/invalid data field encoding. APDU failed, SW %04X", sw);
        return RESULT__ESIM_ERROR;
    case sw_unknown_command:
        log__string(
            LOG__WARN,
            "[eUICC__store_data] Unsupported or unknown command request in the data field. APDU failed, SW %04X", sw);
        return RESULT__ESIM_ERROR;
    case sw_refresh_pending:
        log__string(LOG__WARN, "[eUICC__store_data] REFRESH was not yet successfully executed. APDU failed, SW %04X",
                    sw);
        return RESULT__SESSION_CANCELLED;
    default:
        log__string(LOG__WARN, "[eUICC__store_data] APDU failed, SW %04X", sw);
        return RESULT__ESIM_ERROR;
    }
}
} // namespace

uint32_t eUICC__store_data(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                           uint8_t **response, uint32_t *response_length)
{
    *response = nullptr;
    *response_length = 0;
    ApduResponse answer = {};
    uint32_t rc = send_store_data_apdu_on_channel(handle, channel, data, length, &answer);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__store_data] eUICC__send_store_data_apdu_on_channel failed, rc %d", rc);
        return rc;
    }
    log__string(LOG__DEBUG, "[eUICC__store_data] finish send apdu: ");
    log__data(LOG__DEBUG, "[eUICC__store_data] eUICC__store_data eUICC response", answer.data, answer.length);
    log__string(LOG__DEBUG, "[eUICC__store_data] eUICC__store_data eUICC response size: %d ", answer.length);
    if (!apdu_utils__sw_is_success(&answer)) {
        rc = explain_refusal(answer.sw);
        apdu_utils__free_response(&answer);
        return rc;
    }
    hand_over(answer, response, response_length);
    return RESULT__OK;
}

uint32_t eUICC__store_data_by_steps(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                                    uint8_t block_number, uint8_t last_block, uint8_t **response,
                                    uint32_t *response_length)
{
    *response = nullptr;
    *response_length = 0;
    if (length > APDU_MAX_COMMAND_DATA_SIZE) {
        log__string(LOG__ERROR, "[eUICC__store_data_by_steps] apdu_data_size > APDU_MAX_COMMAND_DATA_SIZE");
        return RESULT__BAD_ARGUMENT;
    }
    if (!data && length > 0) return RESULT__BAD_ARGUMENT;
    owned_bytes apdu(static_cast<uint8_t *>(M_malloc(length + store_data_overhead)));
    if (!apdu.data) {
        log__string(LOG__ERROR, "[eUICC__store_data_by_steps] Can't allocate memory to apdu");
        return RESULT__NO_MEMORY;
    }
    const uint16_t size =
        write_store_data(apdu.data, last_block ? store_data_last : store_data_more, block_number, data, length);
    ApduResponse answer = {};
    const uint32_t rc = eUICC__send_apdu_on_channel(handle, channel, apdu.data, size, &answer);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__store_data_by_steps] eUICC__send_apdu_on_channel failed, rc %d", rc);
        return rc;
    }
    if (!apdu_utils__sw_is_success(&answer)) {
        log__string(LOG__ERROR, "[eUICC__store_data] APDU failed, SW %04X", answer.sw);
        apdu_utils__free_response(&answer);
        return RESULT__FATAL_ERROR;
    }
    hand_over(answer, response, response_length);
    return RESULT__OK;
}

uint32_t eUICC__await_refresh(const char *modem, ModemHandle **handle, uint8_t *channel)
{
    log__string(LOG__DEBUG, "[eUICC__await_refresh] Executing the refresh procedure. Sleeping %u seconds",
                refresh_pause);
    timer__sleep(refresh_pause);
    uint32_t rc = eUICC__terminate(*handle, *channel);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[eUICC__await_refresh] Error terminating the eUICC on the REFRESH procedure, rc %d",
                    rc);
        return rc;
    }
    log__string(
        LOG__DEBUG,
        "[eUICC__await_refresh] Sleeping %u seconds between terminate and initialize the eUICC on the REFRESH procedure",
        refresh_pause);
    timer__sleep(refresh_pause);
    rc = eUICC__initialize(modem, handle, channel);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[eUICC__await_refresh] Error initializing the eUICC on the REFRESH procedure, rc %d",
                    rc);
    return rc;
}
