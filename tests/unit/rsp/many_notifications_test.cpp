// Ten thousand pending notifications: all are delivered and removed, and the log holds a few lines for each.
#include "rsp/notification_processing.h"
#include "support/log_capture.h"
#include "unit/fakes/fake_https.h"
#include "unit/rsp/card_answers.h"
#include <gtest/gtest.h>
#include <map>

namespace {
using bytes_type = std::vector<uint8_t>;
constexpr uint16_t first = 0x0100;
constexpr uint16_t count = 10000;

bytes_type listed(uint16_t number, const std::string &address)
{
    const bytes_type digits = {static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
    return tlv(0xBF2F, join({tlv(0x80, digits), tlv(0x81, {0x07, 0x80}), tlv(0x0C, text_bytes(address))}));
}

TEST(many_notifications, are_all_delivered_and_removed)
{
    const log_capture log(3);
    std::map<uint16_t, std::string> stored; // addresses by sequence number
    for (uint16_t number = first; number < first + count; ++number)
        stored[number] = number % 10 ? "a.example" : "b.example";
    scripted_card card;
    card.respond = [&](const bytes_type &command) -> scripted_card::answer {
        if (is_request(command, 0xBF28)) {
            std::vector<bytes_type> metadata;
            for (const auto &[number, address] : stored)
                metadata.push_back(listed(number, address));
            return {list_notification_response(metadata)};
        }
        const auto number = static_cast<uint16_t>(command.end()[-2] << 8 | command.end()[-1]);
        if (is_request(command, 0xBF2B)) return {tlv(0xBF2B, tlv(0xA0, tlv(0x30, {1, 2, 3})))};
        EXPECT_EQ(stored.erase(number), 1U);
        return {notification_sent_response(0)};
    };
    fake_https.reset();
    fake_https.otherwise = [](const auto &) { return fake_https_type::answer{.status = 204}; };

    EXPECT_EQ(process_notifications_unlocked(&card.handle, scripted_card::channel), 0U);
    EXPECT_TRUE(stored.empty());
    EXPECT_EQ(fake_https.requests.size(), count);
    EXPECT_LT(log.lines().size(), 11U * count);
    EXPECT_EQ(fake_https.open_handles, 0);
}
} // namespace
