#include "fuzz/scripted_world.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_factory.h"
#include "unit/fakes/fake_https.h"
#include "unit/fakes/fake_modem.h"
#include <cctype>
#include <cstring>

namespace {
constexpr size_t direct_max_bytes = 256; // more is fetched with GET RESPONSE
constexpr size_t longest_answer = 1000;  // of one APDU, so that it fits into one AT answer
constexpr std::string_view csim_head = "AT+CSIM=";

std::string hex(input_bytes bytes)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

// Whatever the other side says, the library sends well-formed APDUs.
std::vector<uint8_t> apdu_of(const std::string &command)
{
    const size_t first = command.find('"');
    REQUIRE(first != std::string::npos && command.back() == '"');
    const std::string digits = command.substr(first + 1, command.size() - first - 2);
    REQUIRE(command.substr(csim_head.size(), first - csim_head.size()) == std::to_string(digits.size()) + ",");
    REQUIRE(digits.size() % 2 == 0 && digits.size() >= 8);
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        REQUIRE(isxdigit(digits[i]) && isxdigit(digits[i + 1]));
        bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

fake_https_type::answer failure(input_bytes content)
{
    fuzz_input input(content.data(), content.size());
    static constexpr long statuses[] = {204, 302, 400, 404, 500, 200};
    static constexpr CURLcode results[] = {CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT, CURLE_OPERATION_TIMEDOUT,
                                           CURLE_PARTIAL_FILE, CURLE_OUT_OF_MEMORY};
    const uint8_t chosen = input.byte() % (std::size(statuses) + std::size(results));
    const auto body = input.rest();
    fake_https_type::answer answer{.body = {body.begin(), body.end()}};
    if (chosen < std::size(statuses)) answer.status = statuses[chosen];
    else answer.result = results[chosen - std::size(statuses)];
    return answer;
}
} // namespace

scripted_world::scripted_world(input_bytes records)
{
    for (fuzz_input input(records.data(), records.size()); !input.empty();) {
        const auto record = input.until(record_end);
        if (!record.empty()) records_.push_back({static_cast<char>(record[0]), record.subspan(1)});
    }
    fake_bus.reset();
    fake_factory.reset();
    fake_https.reset();
    fake_modem.reset();
    fake_modem.otherwise = [this](const std::string &command) -> fake_modem_type::answer {
        bool sent = true;
        const std::string text = exchange(command, &sent);
        return {text, sent ? 0 : 1};
    };
    fake_https.otherwise = [this](const auto &) -> fake_https_type::answer {
        if (kind() == 'E') return failure(take());
        if (kind() != 'H') return {.status = 0, .result = CURLE_COULDNT_CONNECT};
        const auto body = take();
        return {.body = {body.begin(), body.end()}};
    };
}

scripted_world::~scripted_world()
{
    fake_modem.reset();
    fake_https.reset();
}

void scripted_world::require_released() const
{
    REQUIRE(fake_bus.open_connections == 0);
    REQUIRE(fake_bus.unfreed_messages == 0);
    REQUIRE(fake_https.open_handles == 0);
    REQUIRE(fake_https.open_header_lines == 0);
}

std::string scripted_world::exchange(const std::string &command, bool *sent)
{
    if (kind() == 'N') {
        take();
        *sent = false;
        return "";
    }
    const auto sent_apdu = command.starts_with(csim_head) ? apdu_of(command) : std::vector<uint8_t>{};
    if (kind() == 'A') {
        const auto content = take();
        const std::string text(content.begin(), content.end());
        card_sent_quotes = true;                              // perhaps
        if (!strstr(text.c_str(), "ERROR")) store(sent_apdu); // else it is sent again
        return text;
    }
    store(sent_apdu);
    if (!sent_apdu.empty()) return csim(hex(apdu(sent_apdu)));
    if (command == "AT+CMEE=?") return "\r\n+CMEE: (0-2)\r\n\r\nOK\r\n";
    if (command == "AT+cpin?") return "\r\n+CPIN: READY\r\n\r\nOK\r\n";
    return "\r\nOK\r\n";
}

void scripted_world::store(input_bytes command)
{
    if (command.empty() || command[1] != 0xE2) return;
    REQUIRE(command.size() > 5 && command.size() == 6U + command[4]);
    const auto data = command.subspan(5, command[4]);
    stored.insert(stored.end(), data.begin(), data.end());
}

std::vector<uint8_t> scripted_world::apdu(input_bytes command)
{
    if (kind() == 'S') {
        const auto content = take();
        return give(content.first(std::min(content.size(), longest_answer)));
    }
    static constexpr uint8_t channel_1[] = {0x01, 0x90, 0x00};
    const input_bytes done = input_bytes(channel_1).subspan(1);
    switch (command[1]) {
    case 0x70:
        return give(command[2] == 0x80 ? done : channel_1);
    case 0xC0: {
        const size_t size = std::min(pending_.size(), direct_max_bytes);
        std::vector<uint8_t> piece(pending_.begin(), pending_.begin() + static_cast<long>(size));
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<long>(size));
        piece.insert(piece.end(), {static_cast<uint8_t>(pending_.empty() ? 0x90 : 0x61), 0x00});
        return piece;
    }
    case 0xE2: {
        const bool is_last = command[2] == 0x91;
        if (!is_last || kind() != 'R') return give(done);
        const auto content = take();
        if (content.size() > direct_max_bytes) {
            give(content);
            pending_.assign(content.begin(), content.end());
            return {0x61, 0x00};
        }
        auto answer = give(content);
        answer.insert(answer.end(), {0x90, 0x00});
        return answer;
    }
    default:
        return give(done);
    }
}

std::vector<uint8_t> scripted_world::give(input_bytes data)
{
    for (const uint8_t byte : data)
        if (byte == '"' || byte == '\\') card_sent_quotes = true;
    return {data.begin(), data.end()};
}
