#include "rsp/bpp_loader.h"
#include "foundation/base64.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "rsp/progress.h"
#include "tlv/ber_tlv_parser.h"
#include <algorithm>
#include <iterator>
#include <string.h>

namespace {
constexpr uint32_t chunk_max_characters = 324;
constexpr uint32_t chunk_max_bytes = chunk_max_characters / 4 * 3; // one block and what may precede it in its group

constexpr uint16_t tag_bound_profile_package = 0xBF36;
constexpr uint16_t tag_initialise_secure_channel = 0xBF23;
constexpr uint16_t tag_first_sequence_of_87 = 0xA0;
constexpr uint16_t tag_sequence_of_88 = 0xA1;
constexpr uint16_t tag_second_sequence_of_87 = 0xA2;
constexpr uint16_t tag_sequence_of_86 = 0xA3;
constexpr uint16_t tag_item_88 = 0x88;
constexpr uint16_t tag_item_86 = 0x86;

constexpr const char escaped_padding[] = "\\u003d"; // "=" as some servers write it in JSON
constexpr uint32_t escaped_padding_length = sizeof escaped_padding - 1;

struct loading {
    ModemHandle *handle;
    uint8_t channel;
    const char *base64;
    uint32_t length;            // in characters, with each escaped padding counted as the one it stands for
    uint32_t padding_start;     // from here on every character is padding when it was escaped; else length
    uint32_t base64_offset = 0; // of the next 4-character group that is not yet fully sent
    uint8_t data_padding = 0;   // bytes of that group already sent, 0..2
    uint8_t chunk[chunk_max_bytes] = {};
    uint32_t chunk_length = 0;
    uint32_t total = 0;     // bytes of the package, as its header says
    owned_bytes response{}; // the card's, which ends the loading
    uint32_t response_length = 0;

    const uint8_t *unsent() const { return chunk + data_padding; }
    uint32_t unsent_length() const { return chunk_length > data_padding ? chunk_length - data_padding : 0; }
    bool is_finished() const { return response_length > 0; }
};

// A chunk may end inside "\u003d\u003d", so escapes are counted as the padding they are.
void measure_text(loading &state, uint32_t length)
{
    state.length = length;
    state.padding_start = length;
    while (state.base64 && state.padding_start >= escaped_padding_length && state.length - state.padding_start < 2 &&
           memcmp(state.base64 + state.padding_start - escaped_padding_length, escaped_padding,
                  escaped_padding_length) == 0) {
        state.padding_start -= escaped_padding_length;
        state.length -= escaped_padding_length - 1;
    }
}

uint32_t get_next_chunk(loading &state)
{
    state.chunk_length = 0;
    if (!state.base64 || state.length == 0 || state.base64_offset >= state.length) return RESULT__BAD_ARGUMENT;
    const uint32_t characters = std::min(state.length - state.base64_offset, chunk_max_characters);
    char text[chunk_max_characters];
    const uint32_t plain =
        std::min(characters, std::max(state.padding_start, state.base64_offset) - state.base64_offset);
    memcpy(text, state.base64 + state.base64_offset, plain);
    memset(text + plain, '=', characters - plain);
    const int32_t decoded = b64_decode_static(state.chunk, sizeof state.chunk, text, characters);
    if (decoded < 0) {
        log__string(LOG__ERROR,
                    "[get_next_chunk] failed to decode the base64 string with offset %zu and chunk size %hu",
                    static_cast<size_t>(state.base64_offset), static_cast<unsigned short>(characters));
        return RESULT__FATAL_ERROR;
    }
    state.chunk_length = static_cast<uint32_t>(decoded);
    return RESULT__OK;
}

void update_bpp_offset_and_padding(loading &state, uint32_t data_size)
{
    log__string(LOG__TRACE, "[update_bpp_offset_and_padding] data_size %d, data_padding %d, base64_offset %d",
                data_size, state.data_padding, state.base64_offset);
    const uint32_t padding = state.data_padding + data_size % 3;
    state.base64_offset += data_size / 3 * 4 + padding / 3 * 4;
    state.data_padding = static_cast<uint8_t>(padding % 3);
    log__string(LOG__TRACE, "[update_bpp_offset_and_padding] Updated values data_padding %d, base64_offset %d",
                state.data_padding, state.base64_offset);
}

void tell_progress(const loading &state)
{
    const uint32_t sent = state.base64_offset / 4 * 3 + state.data_padding;
    progress__tell(LPA_PROGRESS__INSTALLING, std::min(sent, state.total), state.total);
}

// Sends the next size bytes of the current chunk as one block.
uint32_t store_bpp_chunk(loading &state, uint32_t size, uint8_t block_number, uint8_t last_block)
{
    if (size > state.unsent_length()) {
        log__string(LOG__ERROR, "[store_bpp_chunk] The package ends too early. Bytes needed %u, bytes left %u", size,
                    state.unsent_length());
        return RESULT__FATAL_ERROR;
    }
    state.response.reset();
    const uint32_t rc = eUICC__store_data_by_steps(state.handle, state.channel, state.unsent(), size, block_number,
                                                   last_block, &state.response.data, &state.response_length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[store_bpp_chunk] eUICC__store_data_by_steps failed, rc %d", rc);
        state.response_length = 0;
        return rc;
    }
    update_bpp_offset_and_padding(state, size);
    tell_progress(state);
    return RESULT__OK;
}

// The second and all further blocks of a command series.
uint32_t process_next_chunks_of_tlv(loading &state, uint32_t remaining)
{
    for (uint8_t block_number = 1; remaining > 0; ++block_number) {
        uint32_t rc = get_next_chunk(state);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR, "[process_next_chunks_of_tlv] get_next_chunk failed, rc %d", rc);
            return rc;
        }
        const uint32_t size = std::min<uint32_t>(remaining, APDU_MAX_COMMAND_DATA_SIZE);
        remaining -= size;
        rc = store_bpp_chunk(state, size, block_number, remaining == 0);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR, "[process_next_chunks_of_tlv] store_bpp_chunk failed, rc %d", rc);
            return rc;
        }
        if (state.is_finished()) {
            log__string(LOG__DEBUG, "[process_next_chunks_of_tlv] Install profile process finished");
            return RESULT__OK;
        }
    }
    return RESULT__OK;
}

// One command series: size bytes from the current position on, whose first chunk is decoded.
uint32_t send_series(loading &state, uint32_t size, void (*log_store_failed)(uint32_t rc))
{
    const uint32_t first = std::min<uint32_t>(size, APDU_MAX_COMMAND_DATA_SIZE);
    const uint32_t rc = store_bpp_chunk(state, first, 0, first == size);
    if (rc != RESULT__OK) {
        log_store_failed(rc);
        return rc;
    }
    if (state.is_finished()) return RESULT__OK;
    return process_next_chunks_of_tlv(state, size - first);
}

void log_chunk(const loading &state, const char *title)
{
    const bool is_full = state.chunk_length == chunk_max_bytes;
    log__data(LOG__DEBUG, title, state.unsent(), is_full ? APDU_MAX_COMMAND_DATA_SIZE : state.unsent_length());
}

// The element that must start offset bytes behind the current position.
struct expected_element {
    uint16_t tag;
    void (*log_not_found)(uint16_t tag);
    void (*log_not_aligned)(uint16_t tag);
    void (*log_unreadable)();
};

uint32_t read_element(const loading &state, uint32_t offset, const expected_element &expected, ber_tlv_record *record)
{
    const uint32_t position = state.data_padding + offset;
    const int32_t found = ber_tlv_parser__find_tlv_by_tag_2(state.chunk, state.chunk_length, position, expected.tag);
    if (found < 0) {
        expected.log_not_found(expected.tag);
        return RESULT__FATAL_ERROR;
    }
    if (static_cast<uint32_t>(found) != position) {
        expected.log_not_aligned(expected.tag);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(state.chunk, state.chunk_length, position, record);
    if (rc != RESULT__OK) expected.log_unreadable();
    return rc;
}

uint32_t header_size(const ber_tlv_record &record)
{
    return static_cast<uint32_t>(record.tag_bytes) + record.length_bytes;
}

void log_unreadable_in_phase_0() {}

uint32_t read_element_of_phase_0(const loading &state, uint32_t offset, uint16_t tag, ber_tlv_record *record)
{
    const expected_element expected = {
        .tag = tag,
        .log_not_found =
            [](uint16_t missing) {
                log__string(LOG__ERROR, "[load_initialize_secure_channel_request] TAG [%04X] not found in chunk",
                            missing);
            },
        .log_not_aligned =
            [](uint16_t moved) {
                log__string(LOG__ERROR, "[load_initialize_secure_channel_request] TLV TAG [%04X] not align in chunk",
                            moved);
            },
        .log_unreadable = log_unreadable_in_phase_0, // the parser has told the reason
    };
    return read_element(state, offset, expected, record);
}

// The header of the package and the whole InitialiseSecureChannelRequest in one series.
uint32_t load_initialize_secure_channel_request(loading &state)
{
    uint32_t rc = get_next_chunk(state);
    if (rc != RESULT__OK) return rc;
    log_chunk(state, "[load_initialize_secure_channel_request] CHUNK DATA");
    ber_tlv_record package;
    rc = read_element_of_phase_0(state, 0, tag_bound_profile_package, &package);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__DEBUG,
                "[load_initialize_secure_channel_request] TLV 1: Tag %04X in %d bytes, length %d in %d bytes",
                package.tag, package.tag_bytes, package.length, package.length_bytes);
    ber_tlv_record request;
    rc = read_element_of_phase_0(state, header_size(package), tag_initialise_secure_channel, &request);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__DEBUG,
                "[load_initialize_secure_channel_request] TLV 2: Tag %04X in %d bytes, length %d in %d bytes",
                request.tag, request.tag_bytes, request.length, request.length_bytes);
    state.total = header_size(package) + package.length;
    tell_progress(state);
    const uint32_t size = header_size(package) + header_size(request) + request.length;
    log__string(LOG__DEBUG, "[load_initialize_secure_channel_request] DATA TO SEND %d bytes", size);
    return send_series(state, size, [](uint32_t) {});
}

constexpr bool header_only = true;
constexpr bool whole = false;

// Sends one element, or its tag and length. An element of more than room bytes is refused before anything is sent.
uint32_t process_tlv(loading &state, uint16_t tag, bool only_header, uint32_t room, ber_tlv_record *record)
{
    uint32_t rc = get_next_chunk(state);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[process_tlv] get_next_chunk failed, rc %d", rc);
        return rc;
    }
    log_chunk(state, "[process_tlv] CHUNK DATA");
    const expected_element expected = {
        .tag = tag,
        .log_not_found =
            [](uint16_t missing) { log__string(LOG__ERROR, "[process_tlv] TAG [%04X] not found in chunk", missing); },
        .log_not_aligned =
            [](uint16_t moved) { log__string(LOG__ERROR, "[process_tlv] TLV TAG [%04X] not align in chunk", moved); },
        .log_unreadable = [] { log__string(LOG__ERROR, "[process_tlv] Error parsing the tlv"); },
    };
    rc = read_element(state, 0, expected, record);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__DEBUG, "[process_tlv] TLV: Tag %04X in %d bytes, length %d in %d bytes", record->tag,
                record->tag_bytes, record->length, record->length_bytes);
    const uint32_t size = header_size(*record) + (only_header ? 0 : record->length);
    if (size > room) {
        log__string(LOG__ERROR, "[process_tlv] The TLV is longer than its sequence. TLV size %u, bytes remaining %u",
                    size, room);
        return RESULT__FATAL_ERROR;
    }
    return send_series(state, size, [](uint32_t code) {
        log__string(LOG__ERROR, "[process_tlv] store_bpp_chunk failed, rc %d", code);
    });
}

uint32_t process_tlv(loading &state, uint16_t tag)
{
    ber_tlv_record record;
    return process_tlv(state, tag, whole, UINT32_MAX, &record);
}

// Each item of the sequence is a series of its own.
uint32_t process_sequence_of_tlvs(loading &state, uint16_t item_tag, uint32_t sequence_size)
{
    log__string(LOG__DEBUG,
                "[process_sequence_of_tlvs] items_tag=%04X, sequence_size= %d, bpp_offset=%d, byte_padding= %d",
                item_tag, sequence_size, state.base64_offset, state.data_padding);
    for (uint32_t remaining = sequence_size; remaining > 0;) {
        log__string(LOG__INFO, "[process_sequence_of_tlvs] bytes remaining %d", remaining);
        ber_tlv_record item;
        const uint32_t rc = process_tlv(state, item_tag, whole, remaining, &item);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR, "[process_sequence_of_tlvs] Failed to process a sequence of %04X, rc %d", item_tag,
                        rc);
            return rc;
        }
        if (state.is_finished()) {
            log__string(LOG__DEBUG, "[process_sequence_of_tlvs] Install profile process finished");
            return RESULT__OK;
        }
        remaining -= header_size(item) + item.length;
    }
    return RESULT__OK;
}

// A sequence whose header goes alone, before its items.
struct itemwise_sequence {
    uint16_t tag;
    uint16_t item_tag;
    void (*log_header_failed)(uint32_t rc);
    void (*log_items_failed)(uint32_t rc);
    void (*log_finished)();
};

uint32_t load_itemwise(loading &state, const itemwise_sequence &sequence)
{
    ber_tlv_record record;
    uint32_t rc = process_tlv(state, sequence.tag, header_only, UINT32_MAX, &record);
    if (rc != RESULT__OK) {
        sequence.log_header_failed(rc);
        return rc;
    }
    if (!state.is_finished()) {
        rc = process_sequence_of_tlvs(state, sequence.item_tag, record.length);
        if (rc != RESULT__OK) {
            sequence.log_items_failed(rc);
            return rc;
        }
    }
    if (state.is_finished()) sequence.log_finished();
    return RESULT__OK;
}

uint32_t load_first_sequence_of_87(loading &state) { return process_tlv(state, tag_first_sequence_of_87); }

uint32_t load_second_sequence_of_87(loading &state) { return process_tlv(state, tag_second_sequence_of_87); }

uint32_t load_sequence_of_88(loading &state)
{
    return load_itemwise(
        state,
        {
            .tag = tag_sequence_of_88,
            .item_tag = tag_item_88,
            .log_header_failed =
                [](uint32_t rc) { log__string(LOG__ERROR, "[load_sequence_of_88] process_tlv failed, rc %d", rc); },
            .log_items_failed =
                [](uint32_t rc) {
                    log__string(LOG__ERROR, "[load_sequence_of_88] process_sequence_of_tlvs failed, rc %d", rc);
                },
            .log_finished = [] { log__string(LOG__DEBUG, "[load_sequence_of_88] Install profile process finished"); },
        });
}

uint32_t load_sequence_of_86(loading &state)
{
    return load_itemwise(
        state,
        {
            .tag = tag_sequence_of_86,
            .item_tag = tag_item_86,
            .log_header_failed =
                [](uint32_t rc) { log__string(LOG__ERROR, "[load_sequence_of_86] process_tlv failed, rc %d", rc); },
            .log_items_failed =
                [](uint32_t rc) {
                    log__string(LOG__ERROR, "[load_sequence_of_86] process_sequence_of_tlvs failed, rc %d", rc);
                },
            .log_finished = [] { log__string(LOG__DEBUG, "[load_sequence_of_86] Install profile process finished"); },
        });
}

struct phase {
    const char *title;
    uint32_t (*load)(loading &state);
    bool is_optional; // a failure is a warning, and the next phase goes on from where this one stopped
    void (*log_failed)(uint32_t rc);
    const char *finished; // logged when the loading ends with this phase
};

constexpr phase phases[] = {
    {.title = "ES10.LoadBoundProfilePackage (0/5)",
     .load = load_initialize_secure_channel_request,
     .is_optional = false,
     .log_failed =
         [](uint32_t rc) {
             log__string(LOG__ERROR,
                         "[load_bound_profile_package] Load initialize secure channel request failed, rc %d", rc);
         },
     .finished =
         "[load_bound_profile_package] Install profile process finished after load the initialize secure channel"},
    {.title = "ES10.LoadBoundProfilePackage (1/5)",
     .load = load_first_sequence_of_87,
     .is_optional = false,
     .log_failed =
         [](uint32_t rc) {
             log__string(LOG__ERROR, "[load_bound_profile_package] Load first sequence of 87 failed, rc %d", rc);
         },
     .finished = "[load_bound_profile_package] Install profile process finished after load the first sequence of 87"},
    {.title = "ES10.LoadBoundProfilePackage (2/5)",
     .load = load_sequence_of_88,
     .is_optional = false,
     .log_failed =
         [](uint32_t rc) {
             log__string(LOG__ERROR, "[load_bound_profile_package] Load sequence of 88 failed, rc %d", rc);
         },
     .finished = "[load_bound_profile_package] Install profile process finished after load the sequence of 88"},
    {.title = "ES10.LoadBoundProfilePackage (3/5)",
     .load = load_second_sequence_of_87,
     .is_optional = true,
     .log_failed =
         [](uint32_t rc) {
             log__string(LOG__WARN, "[load_bound_profile_package] Load second sequence of 87 failed, rc %d", rc);
         },
     .finished = "[load_bound_profile_package] Install profile process finished after load the second sequence of 87"},
    {.title = "ES10.LoadBoundProfilePackage (4/5)",
     .load = load_sequence_of_86,
     .is_optional = false,
     .log_failed =
         [](uint32_t rc) {
             log__string(LOG__ERROR, "[load_bound_profile_package] Load sequence of 86 failed, rc %d", rc);
         },
     .finished = "[load_bound_profile_package] Install profile process finished after load the sequence of 86"},
};

uint32_t load_phases(loading &state)
{
    const phase *current = std::begin(phases);
    for (const phase *last = std::prev(std::end(phases));; ++current) {
        log__string(LOG__INFO, "%s", current->title);
        const uint32_t rc = current->load(state);
        if (rc != RESULT__OK) current->log_failed(rc);
        if (rc != RESULT__OK && !current->is_optional) return rc;
        if (state.is_finished() || current == last) break;
    }
    log__string(LOG__INFO, "ES10.LoadBoundProfilePackage (5/5)");
    log__string(LOG__DEBUG, "%s", current->finished);
    return RESULT__OK;
}
} // namespace

uint32_t load_base64_bound_profile_package(ModemHandle *handle, uint8_t channel, const char *base64, uint32_t length,
                                           uint8_t **result, uint32_t *result_length)
{
    *result = nullptr;
    *result_length = 0;
    loading state{.handle = handle, .channel = channel, .base64 = base64, .length = 0, .padding_start = 0};
    measure_text(state, length);
    const uint32_t rc = load_phases(state);
    if (rc != RESULT__OK || !state.is_finished()) return rc;
    *result_length = state.response_length;
    *result = state.response.hand_over();
    return RESULT__OK;
}
