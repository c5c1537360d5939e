// Answers of a card, built from what they say.
#pragma once
#include "unit/rsp/scripted_card.h"
#include <string>

inline std::vector<uint8_t> text_bytes(const std::string &text) { return {text.begin(), text.end()}; }

// A pending notification of the install event.
inline std::vector<uint8_t> notification_metadata(uint8_t sequence_number, const std::string &address)
{
    return tlv(0xBF2F, join({tlv(0x80, {sequence_number}), tlv(0x81, {0x07, 0x80}), tlv(0x0C, text_bytes(address))}));
}

inline std::vector<uint8_t> list_notification_response(const std::vector<std::vector<uint8_t>> &metadata)
{
    return tlv(0xBF28, tlv(0xA0, join(metadata)));
}

inline std::vector<uint8_t> notification_sent_response(uint8_t status) { return tlv(0xBF30, tlv(0x80, {status})); }

inline std::vector<uint8_t> profile_installation_result(uint8_t sequence_number, const std::string &address)
{
    const auto success = tlv(0xA0, join({tlv(0x4F, filler(16)), tlv(0x04, filler(7))}));
    const auto data = tlv(0xBF27, join({tlv(0x80, {1, 2, 3}), notification_metadata(sequence_number, address),
                                        tlv(0x06, {0x88, 0x37}), tlv(0xA2, success)}));
    return tlv(0xBF37, join({data, tlv(0x5F37, filler(64))}));
}

// Whether a request is one of this tag.
inline bool is_request(const std::vector<uint8_t> &command, unsigned tag)
{
    return command.size() > 2 && command[0] == tag >> 8 && command[1] == (tag & 0xFF);
}
