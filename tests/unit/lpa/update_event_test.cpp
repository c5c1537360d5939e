#include "foundation/log.h"
#include "lpa/update_event.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/fake_bus.h"
#include <array>
#include <gtest/gtest.h>
extern "C" {
#include <libubus.h>
}

namespace {
class update_event : public testing::Test {
  protected:
    update_event() { fake_bus.reset(); }
    ~update_event() override
    {
        EXPECT_EQ(fake_bus.open_connections, 0);
        EXPECT_EQ(fake_bus.unfreed_messages, 0);
        EXPECT_EQ(log.up_to(LOG__TRACE), ""); // events are not logged
        fake_bus.reset();
    }

    // The fields of the only event, one a line: type, name and its bytes (hex for numbers).
    static std::string sent()
    {
        if (fake_bus.events.size() != 1) return std::to_string(fake_bus.events.size()) + " events";
        std::string result = fake_bus.events[0].first + "\n";
        for (const auto &field : fake_bus.events[0].second) {
            result += field.name + " ";
            if (field.type == BLOBMSG_TYPE_INT32)
                result += hex(reinterpret_cast<const uint8_t *>(field.data.data()), field.data.size());
            else if (field.type == BLOBMSG_TYPE_STRING && field.data.find('\0') == field.data.size() - 1)
                result.append("'").append(field.data, 0, field.data.size() - 1).append("'");
            else result += "of type " + std::to_string(field.type);
            result += "\n";
        }
        return result;
    }

    log_capture log;
};

TEST_F(update_event, of_an_enabled_profile_tells_modem_event_state_and_iccid)
{
    esim_notify_event(UPDATE_EVENT__ENABLE, "modem1", "8944501234567890123", 0);
    EXPECT_EQ(sent(), "vorn.updates\n"
                      "modem 'gsm.modem1'\n"
                      "event 00000001\n"
                      "state 00000000\n"
                      "iccid '8944501234567890123'\n");
}

TEST_F(update_event, of_a_failed_operation_has_its_code_in_state)
{
    esim_notify_event(UPDATE_EVENT__DELETE, "modem0", "89", 18);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.modem0'\nevent 00000003\nstate 00000012\niccid '89'\n");
}

TEST_F(update_event, numbers_are_in_network_byte_order)
{
    esim_notify_event(0x01020304, "modem0", nullptr, 0x05060708);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.modem0'\nevent 01020304\nstate 05060708\n");
}

TEST_F(update_event, has_no_iccid_when_none_was_given)
{
    esim_notify_event(UPDATE_EVENT__RESET_MEMORY, "modem4", nullptr, 0);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.modem4'\nevent 00000006\nstate 00000000\n");
}

TEST_F(update_event, has_an_empty_iccid_when_an_empty_one_was_given)
{
    esim_notify_event(UPDATE_EVENT__NICKNAME, "modem4", "", 4);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.modem4'\nevent 00000005\nstate 00000004\niccid ''\n");
}

TEST_F(update_event, cuts_a_modem_name_that_does_not_fit)
{
    esim_notify_event(UPDATE_EVENT__DOWNLOAD, ("modem" + std::string(100, '1')).c_str(), nullptr, 1);
    EXPECT_EQ(sent(),
              "vorn.updates\nmodem 'gsm.modem" + std::string(63 - 9, '1') + "'\nevent 00000000\nstate 00000001\n");
}

TEST_F(update_event, without_a_modem_name_is_sent_too)
{
    esim_notify_event(UPDATE_EVENT__DOWNLOAD, nullptr, nullptr, 4);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.'\nevent 00000000\nstate 00000004\n");
}

TEST_F(update_event, numbers_are_those_that_listeners_know)
{
    constexpr std::array events = {UPDATE_EVENT__DOWNLOAD,     UPDATE_EVENT__ENABLE,          UPDATE_EVENT__DISABLE,
                                   UPDATE_EVENT__DELETE,       UPDATE_EVENT__NOTIFICATIONS,   UPDATE_EVENT__NICKNAME,
                                   UPDATE_EVENT__RESET_MEMORY, UPDATE_EVENT__DOWNLOAD_PRIMARY};
    for (size_t i = 0; i < events.size(); ++i)
        EXPECT_EQ(static_cast<size_t>(events[i]), i);
}

TEST_F(update_event, is_dropped_when_the_bus_cannot_be_reached)
{
    fake_bus.connects = false;
    esim_notify_event(UPDATE_EVENT__ENABLE, "modem1", "89", 0);
    EXPECT_EQ(sent(), "0 events");
}

TEST_F(update_event, is_dropped_when_it_cannot_be_built)
{
    fake_bus.builds_messages = false;
    esim_notify_event(UPDATE_EVENT__ENABLE, "modem1", "89", 0);
    EXPECT_EQ(sent(), "0 events");
}

TEST_F(update_event, follows_another_with_its_own_fields_only)
{
    esim_notify_event(UPDATE_EVENT__ENABLE, "modem1", "89", 0);
    fake_bus.events.clear();
    esim_notify_event(UPDATE_EVENT__NOTIFICATIONS, "modem2", nullptr, 0);
    EXPECT_EQ(sent(), "vorn.updates\nmodem 'gsm.modem2'\nevent 00000004\nstate 00000000\n");
}
} // namespace
