// Events: the bus client as a listener, and the fields of what it is sent.
#include "platform/bus/connection.h"
#include "simulator/bus_broker.h"
#include "support/bytes.h"
#include "unit/platform/bus_peer.h"
#include <algorithm>
#include <gmock/gmock.h>
#include <optional>
#include <poll.h>

namespace {
using namespace bus_peer;
using testing::ElementsAre;
using testing::IsEmpty;

// Registers for a pattern and writes down what comes, in the order of registration.
struct listener {
    ubus_event_handler handler = {};
    std::vector<std::string> names;
    std::vector<std::string> texts; // of field "text"
};

void note_event(ubus_context *, ubus_event_handler *handler, const char *type, blob_attr *message)
{
    auto *const self = reinterpret_cast<listener *>(handler);
    self->names.emplace_back(type);
    const blobmsg_policy policy = {"text", BLOBMSG_TYPE_STRING};
    blob_attr *text = nullptr;
    blobmsg_parse(&policy, 1, &text, blob_data(message), static_cast<unsigned>(blob_len(message)));
    self->texts.emplace_back(text ? blobmsg_get_string(text) : "none");
}

bool is_lost;
void note_loss(ubus_context *) { is_lost = true; }

struct connection {
    explicit connection(const std::string &path) : status(ubus_connect_ctx(&ctx, path.c_str()))
    {
        is_lost = false;
        ctx.connection_lost = note_loss;
    }
    ~connection() { ubus_shutdown(&ctx); }
    int listen(listener &to, const char *pattern)
    {
        to.handler.cb = note_event;
        return ubus_register_event_handler(&ctx, &to.handler, pattern);
    }
    // Until something has come, then takes it.
    void handle()
    {
        pollfd waited = {.fd = ctx.sock.fd, .events = POLLIN, .revents = 0};
        ASSERT_EQ(poll(&waited, 1, 30000), 1);
        ubus_handle_event(&ctx);
    }
    ubus_context ctx = {};
    int status;
};

void send_event(ubus_context *from, const char *name, const std::string &text)
{
    blob_buf data = {};
    blob_buf_init(&data, 0);
    blobmsg_add_field(&data, BLOBMSG_TYPE_STRING, "text", text.c_str(), static_cast<unsigned>(text.size() + 1));
    EXPECT_EQ(ubus_send_event(from, name, data.head), 0);
    blob_buf_free(&data);
}

class bus_event : public testing::Test {
  protected:
    std::string path = "/tmp/lpa_bus_event_test_" + std::to_string(getpid());
    std::optional<sim::bus_broker> broker{path};
};

TEST_F(bus_event, comes_to_those_who_listen)
{
    connection first(path);
    const connection other(path);
    connection sender(path);
    listener exact;
    listener prefix;
    ASSERT_EQ(first.listen(exact, "vorn.updates"), 0);
    ASSERT_EQ(first.listen(prefix, "vorn.*"), 0);
    send_event(&sender.ctx, "vorn.other", "a");
    send_event(&sender.ctx, "vorn.updates", "b");
    send_event(&sender.ctx, "else", "c");
    while (prefix.names.size() < 2 || exact.names.empty())
        first.handle();
    EXPECT_THAT(exact.texts, ElementsAre("b"));
    EXPECT_THAT(prefix.names, ElementsAre("vorn.other", "vorn.updates"));
    EXPECT_THAT(prefix.texts, ElementsAre("a", "b"));
    EXPECT_FALSE(is_lost);
}

TEST_F(bus_event, does_not_wait_when_nothing_has_come)
{
    connection client(path);
    listener to;
    ASSERT_EQ(client.listen(to, "any"), 0);
    ubus_handle_event(&client.ctx);
    EXPECT_THAT(to.names, IsEmpty());
    EXPECT_FALSE(is_lost);
}

TEST_F(bus_event, tells_that_the_broker_is_gone)
{
    connection client(path);
    listener to;
    ASSERT_EQ(client.listen(to, "any"), 0);
    broker.reset();
    client.handle();
    EXPECT_TRUE(is_lost);
    EXPECT_EQ(client.ctx.sock.fd, -1);
    ubus_handle_event(&client.ctx); // nothing is left to handle
}

// A broker that knows the listener as object 5, then sends these messages.
byte_vector knows_object(const raw_message &request)
{
    return sim::join(
        {encode({DATA, request.sequence, 0, sim::write_blob_uint32(A_OBJID, 5)}), status_message(request.sequence, 0)});
}

TEST_F(bus_event, is_passed_over_when_malformed)
{
    const byte_vector object = sim::write_blob_uint32(A_OBJID, 5);
    const byte_vector name = sim::write_blob_text(A_METHOD, "any");
    const byte_vector data = sim::write_blob_attribute(A_DATA, {});
    const auto events = [&](const raw_message &request) {
        return sim::join({status_message(request.sequence, 0), encode({INVOKE, 1, 9, {}}),
                          encode({INVOKE, 2, 9, sim::join({name, data})}),
                          encode({INVOKE, 3, 9, sim::join({object, data})}),
                          encode({INVOKE, 4, 9, sim::join({object, name})}),
                          encode({INVOKE, 5, 9, sim::join({sim::write_blob_uint32(A_OBJID, 6), name, data})}),
                          encode({INVOKE, 6, 9, sim::join({object, bytes("04000007 616E79"), bytes("00"), data})}),
                          encode({DATA, 7, 9, sim::join({object, name, data})}),
                          encode({INVOKE, 8, 9, sim::join({object, name, data})})});
    };
    scripted_broker peer(hello(), {knows_object, events});
    connection client(peer.path());
    listener to;
    ASSERT_EQ(client.listen(to, "any"), 0);
    while (!is_lost)
        client.handle();
    EXPECT_THAT(to.texts, ElementsAre("none"));
}

struct refusal_case {
    const char *name;
    scripted_broker::answerer to_object, to_registration;
    int status;
};
class refused_listener : public testing::TestWithParam<refusal_case> {};

TEST_P(refused_listener, gets_the_status)
{
    scripted_broker peer(hello(), {GetParam().to_object, GetParam().to_registration});
    connection client(peer.path());
    listener to;
    EXPECT_EQ(client.listen(to, "any"), GetParam().status);
    EXPECT_EQ(client.ctx.event_handlers, nullptr);
}

byte_vector refuses(const raw_message &request) { return status_message(request.sequence, 6); }
byte_vector knows_nothing(const raw_message &request) { return status_message(request.sequence, 0); }

INSTANTIATE_TEST_SUITE_P(table, refused_listener,
                         testing::ValuesIn(std::vector<refusal_case>{
                             {"as_object", refuses, refuses, UBUS_STATUS_PERMISSION_DENIED},
                             {"without_a_number", knows_nothing, refuses, UBUS_STATUS_NO_DATA},
                             {"as_listener", knows_object, refuses, UBUS_STATUS_PERMISSION_DENIED},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

struct fields_case {
    const char *name, *input;
    int status;
    const char *text; // null: not found
    int64_t number;   // -1: not found
};
void PrintTo(const fields_case &row, std::ostream *out) { *out << row.name; }
class message_fields : public testing::TestWithParam<fields_case> {};

TEST_P(message_fields, are_found_when_they_are_sound)
{
    const byte_vector input = bytes(GetParam().input);
    // As large as the message and no larger, so that the sanitizer sees what is read behind it.
    const std::unique_ptr<char, void (*)(void *)> copy(static_cast<char *>(malloc(input.size() + 1)), free);
    std::ranges::copy(input, copy.get());
    const blobmsg_policy policy[] = {{"a", BLOBMSG_TYPE_STRING}, {"bc", BLOBMSG_TYPE_INT32}};
    blob_attr *found[2];
    EXPECT_EQ(blobmsg_parse(policy, 2, found, copy.get(), static_cast<unsigned>(input.size())), GetParam().status);
    EXPECT_EQ(found[0] != nullptr, GetParam().text != nullptr);
    if (GetParam().text) { EXPECT_STREQ(blobmsg_get_string(found[0]), GetParam().text); }
    EXPECT_EQ(found[1] ? int64_t{blobmsg_get_u32(found[1])} : -1, GetParam().number);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, message_fields, testing::ValuesIn(std::vector<fields_case>{
    {"none", "", 0, nullptr, -1},
    {"text", "8300000B 00016100 787900", 0, "xy", -1},
    {"text_and_number", "8300000B 00016100 78790000 85000010 00026263 00000000 01020304", 0, "xy", 0x01020304},
    {"the_last_of_two", "8300000A 00016100 78000000 8300000A 00016100 7900", 0, "y", -1},
    {"another_name", "8300000A 00017A00 7800", 0, nullptr, -1},
    {"another_type", "8200000A 00016100 7800", 0, nullptr, -1},
    {"text_without_its_zero", "8300000A 00016100 7879", 0, nullptr, -1},
    {"text_without_anything", "83000008 00016100", 0, nullptr, -1},
    {"number_of_two_bytes", "8500000E 00026263 00000000 0102", 0, nullptr, -1},
    {"length_behind_the_end", "8300000C 00016100 787900", -1, nullptr, -1},
    {"length_of_0", "83000000 00016100", -1, nullptr, -1},
    {"name_behind_the_end", "83000008 00FF6100", -1, nullptr, -1},
    {"name_without_its_zero", "83000008 00016162", -1, nullptr, -1},
    {"no_room_for_a_name", "83000006 0001", -1, nullptr, -1},
    {"found_before_it_is_malformed", "8300000A 00016100 78000000 83000001", -1, "x", -1},
    {"head_cut_short", "8300", 0, nullptr, -1},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

} // namespace
