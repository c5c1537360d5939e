#include "unit/rsp/scripted_card.h"
#include "support/bytes.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_modem.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace {
constexpr size_t block_max_bytes = 240;
constexpr size_t direct_max_bytes = 256; // more is fetched with GET RESPONSE

std::string status(unsigned sw) { return hex({static_cast<uint8_t>(sw >> 8), static_cast<uint8_t>(sw)}); }
} // namespace

std::vector<uint8_t> tlv(unsigned tag, const std::vector<uint8_t> &value)
{
    std::vector<uint8_t> result;
    if (tag > 0xFF) result.push_back(static_cast<uint8_t>(tag >> 8));
    result.push_back(static_cast<uint8_t>(tag));
    const size_t size = value.size();
    const int length_bytes = size < 0x80 ? 0 : size < 0x100 ? 1 : size < 0x10000 ? 2 : 3;
    if (length_bytes > 0) result.push_back(static_cast<uint8_t>(0x80 | length_bytes));
    for (int shift = std::max(length_bytes, 1) - 1; shift >= 0; --shift)
        result.push_back(static_cast<uint8_t>(size >> (8 * shift)));
    result.insert(result.end(), value.begin(), value.end());
    return result;
}

std::vector<uint8_t> join(const std::vector<std::vector<uint8_t>> &parts)
{
    std::vector<uint8_t> result;
    for (const auto &part : parts)
        result.insert(result.end(), part.begin(), part.end());
    return result;
}

std::vector<uint8_t> filler(size_t size, unsigned seed)
{
    std::vector<uint8_t> result(size);
    unsigned state = 12345 + seed;
    for (uint8_t &byte : result)
        byte = static_cast<uint8_t>((state = state * 1103515245U + 12345U) >> 16);
    return result;
}

std::vector<scripted_card::block> cut(const std::vector<uint8_t> &series)
{
    std::vector<scripted_card::block> result;
    for (size_t offset = 0; offset == 0 || offset < series.size(); offset += block_max_bytes) {
        const size_t size = std::min(block_max_bytes, series.size() - offset);
        const auto start = series.begin() + static_cast<long>(offset);
        result.push_back({offset + size == series.size(),
                          static_cast<uint8_t>(result.size()),
                          {start, start + static_cast<long>(size)}});
    }
    return result;
}

bool scripted_card::terminates = true;

extern "C" { // the linker's --wrap
uint32_t __real_eUICC__terminate(ModemHandle *handle, uint8_t channel);

uint32_t __wrap_eUICC__terminate(ModemHandle *handle, uint8_t channel)
{
    const uint32_t rc = __real_eUICC__terminate(handle, channel);
    return scripted_card::terminates ? rc : 1;
}
}

scripted_card::scripted_card()
{
    terminates = true;
    fake_bus.reset();
    pauses.clear();
    fake_modem.reset();
    fake_modem.otherwise = [this](const std::string &command) -> fake_modem_type::answer {
        const std::string text = exchange(command);
        if (text.empty()) return {"", 1};
        return {text};
    };
}

scripted_card::~scripted_card() { fake_modem.reset(); }

std::string scripted_card::exchange(const std::string &command)
{
    if (command == "AT+CMEE=?") return "\r\n+CMEE: (0-2)\r\n\r\nOK\r\n";
    if (command == "AT+CMEE=2") return "\r\nOK\r\n";
    const size_t start = command.find('"') + 1;
    const std::string digits = command.substr(start, command.size() - start - 1);
    EXPECT_EQ(command, "AT+CSIM=" + std::to_string(digits.size()) + ",\"" + digits + "\"");
    const std::string response = apdu(bytes(digits));
    return response.empty() ? "" : csim(response);
}

std::string scripted_card::apdu(const std::vector<uint8_t> &command)
{
    switch (command.at(1)) {
    case 0x70:
        if (command.at(2) == 0x80) return ++closed, status(0x9000);
        return opens ? ++opened, "01" + status(0x9000) : status(0x6A81);
    case 0xAA:
    case 0xA4:
        return status(0x9000);
    case 0xC0:
        return give_pending();
    case 0xE2:
        return store_data(command);
    default:
        ADD_FAILURE() << hex(command);
        return status(0x6D00);
    }
}

std::string scripted_card::store_data(const std::vector<uint8_t> &command)
{
    EXPECT_EQ(command.at(0), 0x81) << "class byte of channel 1";
    EXPECT_EQ(command.size(), 6U + command.at(4)) << hex(command);
    EXPECT_EQ(command.back(), 0);
    const bool is_last = command.at(2) == 0x91;
    EXPECT_TRUE(is_last || command.at(2) == 0x11);
    block received{is_last, command.at(3), {command.begin() + 5, command.end() - 1}};
    if (refuse) {
        const answer refused = refuse(blocks.size());
        if (refused.not_sent || refused.sw != 0x9000 || !refused.data.empty()) {
            blocks.push_back(received);
            collected_.clear();
            return give(refused);
        }
    }
    blocks.push_back(received);
    collected_.insert(collected_.end(), received.data.begin(), received.data.end());
    if (!is_last) return status(0x9000);
    series.push_back(std::exchange(collected_, {}));
    return give(respond ? respond(series.back()) : answer{});
}

std::string scripted_card::give(const answer &response)
{
    if (response.not_sent) return "";
    if (response.data.size() <= direct_max_bytes) return hex(response.data) + status(response.sw);
    pending_ = response.data;
    pending_sw_ = response.sw;
    return status(0x6100);
}

std::string scripted_card::give_pending()
{
    const size_t size = std::min(pending_.size(), direct_max_bytes);
    const std::string piece = hex(pending_.data(), size);
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<long>(size));
    return piece + status(pending_.empty() ? pending_sw_ : 0x6100);
}
