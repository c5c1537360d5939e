// The broker as seen by clients that speak raw messages.
#include "simulator/bus_broker.h"
#include "support/bytes.h"
#include "unit/platform/bus_peer.h"
#include <array>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <system_error>

namespace {
using namespace bus_peer;
using nlohmann::json;
using sim::field_type;
using sim::join;
using sim::write_blob_attribute;
using sim::write_blob_field;
using sim::write_blob_text;
using sim::write_blob_uint32;

std::string test_path() { return "/tmp/lpa_broker_test_" + std::to_string(getpid()); }

byte_vector text_bytes(const std::string &value) { return {value.c_str(), value.c_str() + value.size() + 1}; }

byte_vector text_field(const char *name, const std::string &value)
{
    return write_blob_field(field_type::string, name, text_bytes(value));
}

byte_vector call(uint32_t object, const char *method, const byte_vector &fields)
{
    return join(
        {write_blob_uint32(A_OBJID, object), write_blob_text(A_METHOD, method), write_blob_attribute(A_DATA, fields)});
}

class broker : public testing::Test {
  protected:
    json control(const char *command) { return bus.control(json::parse(command)); }
    uint32_t add_object(raw_client &owner, const byte_vector &contents = {})
    {
        std::vector<byte_vector> answers;
        EXPECT_EQ(owner.ask(ADD_OBJECT, 0, contents, &answers), 0U);
        return answers.size() == 1 ? number(answers[0], A_OBJID).value_or(0) : 0;
    }
    std::optional<uint32_t> listen(raw_client &listener, uint32_t object, const std::string &pattern)
    {
        return listener.ask(INVOKE, 1,
                            call(1, "register",
                                 join({write_blob_field(field_type::int32, "object", big_endian(object)),
                                       text_field("pattern", pattern)})));
    }
    static byte_vector big_endian(uint32_t value)
    {
        const byte_vector attribute = write_blob_uint32(0, value);
        return {attribute.begin() + 4, attribute.end()};
    }
    std::optional<uint32_t> send_event(raw_client &from, const std::string &name, const byte_vector &fields)
    {
        return from.ask(
            INVOKE, 1,
            call(1, "send", join({text_field("id", name), write_blob_field(field_type::table, "data", fields)})));
    }
    sim::bus_broker bus{test_path()};
    raw_client client{test_path()};
};

TEST_F(broker, delivers_events_to_those_who_listen)
{
    raw_client listener(test_path());
    const uint32_t object = add_object(listener);
    EXPECT_GT(object, 1023U);
    EXPECT_EQ(listen(listener, object, "vorn.updates"), 0U);
    EXPECT_EQ(send_event(client, "other.updates", {}), 0U);
    const byte_vector fields = text_field("modem", "gsm.modem0");
    EXPECT_EQ(send_event(client, "vorn.updates", fields), 0U);
    const auto event = listener.receive();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->type, INVOKE);
    EXPECT_EQ(event->peer, client.id());
    EXPECT_EQ(number(event->contents, A_OBJID), object);
    EXPECT_EQ(text(event->contents, A_METHOD), "vorn.updates");
    EXPECT_EQ(attribute(event->contents, A_DATA), fields);
    listener.answer(*event, STATUS, write_blob_uint32(A_STATUS, 0)); // some do, nobody wants it
    EXPECT_EQ(listener.ask(PING, 0, {}), 0U);
    EXPECT_EQ(control(R"({"bus":"events"})")["events"].size(), 2U);
}

TEST_F(broker, delivers_events_by_pattern)
{
    const uint32_t object = add_object(client);
    EXPECT_EQ(listen(client, object, "vorn.*"), 0U);
    raw_client sender(test_path());
    for (const char *name : {"vorn", "vorn.a", "a.vorn.b", "vorn."})
        EXPECT_EQ(send_event(sender, name, {}), 0U);
    EXPECT_EQ(text(client.receive()->contents, A_METHOD), "vorn.a");
    EXPECT_EQ(text(client.receive()->contents, A_METHOD), "vorn.");
}

TEST_F(broker, registers_only_a_clients_own_objects)
{
    raw_client other(test_path());
    const uint32_t object = add_object(other);
    EXPECT_EQ(listen(client, object, "a"), 6U);
    EXPECT_EQ(listen(client, 99, "a"), 4U);
    EXPECT_EQ(client.ask(INVOKE, 1, call(1, "register", text_field("pattern", "a"))), 2U);
    EXPECT_EQ(client.ask(INVOKE, 1, call(1, "unheard", {})), 3U);
}

TEST_F(broker, refuses_malformed_events_and_keeps_none)
{
    EXPECT_EQ(client.ask(INVOKE, 1, call(1, "send", text_field("id", "x"))), 2U);
    EXPECT_EQ(client.ask(INVOKE, 1, call(1, "send", bytes("83000004"))), 2U);
    const byte_vector no_zero = write_blob_field(field_type::string, "modem", bytes("41"));
    EXPECT_EQ(send_event(client, "vorn.updates", no_zero), 2U);
    const byte_vector little = write_blob_field(field_type::int32, "event", bytes("0102"));
    EXPECT_EQ(send_event(client, "vorn.updates", little), 2U);
    EXPECT_EQ(control(R"({"bus":"events"})")["events"].size(), 0U);
}

TEST_F(broker, lists_its_objects)
{
    const byte_vector signature = write_blob_field(field_type::table, "go", {});
    const byte_vector named = join({write_blob_text(A_OBJPATH, "zoo"), write_blob_attribute(A_SIGNATURE, signature)});
    const uint32_t id = add_object(client, named);
    add_object(client);
    std::vector<byte_vector> answers;
    EXPECT_EQ(client.ask(LOOKUP, 0, {}, &answers), 0U);
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(text(answers[0], A_OBJPATH), "file");
    EXPECT_EQ(text(answers[1], A_OBJPATH), "zoo");
    EXPECT_EQ(number(answers[1], A_OBJID), id);
    EXPECT_TRUE(number(answers[1], A_OBJTYPE));
    EXPECT_EQ(attribute(answers[1], A_SIGNATURE), signature);
    EXPECT_EQ(client.ask(LOOKUP, 0, write_blob_text(A_OBJPATH, "zo*"), &answers), 0U);
    EXPECT_EQ(client.ask(LOOKUP, 0, write_blob_text(A_OBJPATH, "zo"), &answers), 4U);
    EXPECT_EQ(client.ask(ADD_OBJECT, 0, named), 2U); // the name is taken
    EXPECT_EQ(client.ask(ADD_OBJECT, 0, write_blob_text(A_OBJPATH, "")), 2U);
}

TEST_F(broker, removes_objects_for_their_owner_only)
{
    raw_client other(test_path());
    const uint32_t id = add_object(client, write_blob_text(A_OBJPATH, "zoo"));
    EXPECT_EQ(other.ask(REMOVE_OBJECT, 0, write_blob_uint32(A_OBJID, id)), 6U);
    EXPECT_EQ(client.ask(REMOVE_OBJECT, 0, write_blob_uint32(A_OBJID, id)), 0U);
    EXPECT_EQ(client.ask(REMOVE_OBJECT, 0, write_blob_uint32(A_OBJID, id)), 4U);
    EXPECT_EQ(client.ask(REMOVE_OBJECT, 0, {}), 2U);
    EXPECT_EQ(client.ask(LOOKUP, 0, write_blob_text(A_OBJPATH, "zoo")), 4U);
}

TEST_F(broker, passes_calls_on_and_answers_back)
{
    raw_client owner(test_path());
    const uint32_t id = add_object(owner, write_blob_text(A_OBJPATH, "zoo"));
    const byte_vector arguments = text_field("animal", "otter");
    client.send(INVOKE, id, call(id, "feed", arguments));
    const auto passed = owner.receive();
    ASSERT_TRUE(passed);
    EXPECT_EQ(passed->type, INVOKE);
    EXPECT_EQ(passed->peer, client.id());
    EXPECT_EQ(attribute(passed->contents, A_DATA), arguments);
    owner.answer(*passed, DATA, write_blob_attribute(A_DATA, text_field("fed", "yes")));
    owner.answer(*passed, STATUS, write_blob_uint32(A_STATUS, 5));
    const auto data = client.receive();
    ASSERT_TRUE(data);
    EXPECT_EQ(data->type, DATA);
    EXPECT_EQ(data->peer, id);
    EXPECT_EQ(attribute(data->contents, A_DATA), text_field("fed", "yes"));
    const auto status = client.receive();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->type, STATUS);
    EXPECT_EQ(status->sequence, data->sequence);
    EXPECT_EQ(number(status->contents, A_STATUS), 5U);
}

TEST_F(broker, forgets_a_caller_that_left)
{
    raw_client owner(test_path());
    const uint32_t id = add_object(owner, write_blob_text(A_OBJPATH, "zoo"));
    {
        raw_client caller(test_path());
        caller.send(INVOKE, id, call(id, "feed", {}));
        const auto passed = owner.receive();
        ASSERT_TRUE(passed);
        caller.close();
        owner.answer(*passed, STATUS, write_blob_uint32(A_STATUS, 0));
    }
    EXPECT_EQ(owner.ask(PING, 0, {}), 0U);
}

struct refusal_case {
    const char *name;
    uint8_t type;
    const char *contents;
    uint32_t status;
};
class refusals : public broker, public testing::WithParamInterface<refusal_case> {};
TEST_P(refusals, have_a_status)
{
    EXPECT_EQ(client.ask(GetParam().type, 0, bytes(GetParam().contents)), GetParam().status);
}
INSTANTIATE_TEST_SUITE_P(table, refusals,
                         testing::ValuesIn(std::to_array<refusal_case>({
                             {"unknown_type", 42, "", 1},
                             {"monitor", 11, "", 1},
                             {"call_without_object", INVOKE, "04000006 61000000", 2},
                             {"call_without_method", INVOKE, "03000008 00000001", 2},
                             {"object_of_3_bytes", INVOKE, "03000007 00000100 04000006 61000000", 2},
                             {"method_without_zero", INVOKE, "03000008 00000001 04000005 61000000", 2},
                             {"attributes_cut_short", INVOKE, "03000008 000000", 2},
                             {"unknown_object", INVOKE, "03000008 00000063 04000006 61000000", 4},
                             {"lookup_of_a_malformed_path", LOOKUP, "02000005 61000000", 4},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(broker, refuses_malformed_arguments_of_write)
{
    std::vector<byte_vector> answers;
    ASSERT_EQ(client.ask(LOOKUP, 0, write_blob_text(A_OBJPATH, "file"), &answers), 0U);
    const uint32_t file = *number(answers.at(0), A_OBJID);
    EXPECT_EQ(client.ask(INVOKE, file, call(file, "write", text_field("path", "/tmp/lpa_never"))), 2U);
    EXPECT_EQ(client.ask(INVOKE, file, call(file, "write", bytes("FF"))), 2U);
    struct stat status = {};
    EXPECT_NE(stat("/tmp/lpa_never", &status), 0);
}

TEST_F(broker, drops_clients_that_break_the_protocol)
{
    for (const char *message :
         {"01070001 00000000 00000004", "00070001 00000000 00000003", "00070001 00000000 00100001"}) {
        raw_client breaking(test_path());
        breaking.send_bytes(bytes(message));
        EXPECT_FALSE(breaking.receive()) << message;
    }
    EXPECT_EQ(client.ask(PING, 0, {}), 0U);
}

TEST_F(broker, takes_messages_in_pieces_and_several_at_once)
{
    const byte_vector ping = encode({PING, 7, 0, {}});
    for (const uint8_t byte : ping)
        client.send_bytes({&byte, 1});
    EXPECT_EQ(client.receive()->sequence, 7);
    client.send_bytes(join({encode({PING, 8, 0, {}}), encode({PING, 9, 0, {}})}));
    EXPECT_EQ(client.receive()->sequence, 8);
    EXPECT_EQ(client.receive()->sequence, 9);
}

TEST_F(broker, drops_a_client_that_never_reads)
{
    raw_client listener(test_path());
    const uint32_t object = add_object(listener);
    ASSERT_EQ(listen(listener, object, "*"), 0U);
    const byte_vector large = text_field("text", std::string(900000, 'x'));
    for (int i = 0; i < 12; ++i)
        ASSERT_EQ(send_event(client, "large", large), 0U);
    EXPECT_EQ(control(R"({"bus":"clients"})")["clients"], 1);
}

TEST_F(broker, has_switches)
{
    EXPECT_THROW(control(R"({"bus":"set","unheard":1})"), std::invalid_argument);
    EXPECT_THROW(control(R"({"bus":"set","write_status":14})"), std::invalid_argument);
    for (const char *refused : {R"({"bus":"unheard"})", R"({"bus":"events","x":1})", R"({"bus":"calls","x":1})",
                                R"({"bus":"clients","x":1})", R"({"bus":"clear","x":1})"})
        EXPECT_THROW(control(refused), std::invalid_argument) << refused;
}

TEST_F(broker, does_not_take_a_socket_that_is_served)
{
    EXPECT_THROW(sim::bus_broker second(test_path()), std::system_error);
    EXPECT_EQ(client.ask(PING, 0, {}), 0U);
}

TEST(bus_broker, replaces_a_socket_that_nobody_serves)
{
    const std::string path = test_path() + "_stale/bus.sock";
    { // the folder is made
        const sim::bus_broker broker(path);
    }
    close(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    const sim::bus_broker broker(path);
    EXPECT_EQ(raw_client(path).ask(PING, 0, {}), 0U);
}

TEST(bus_broker, needs_a_path_that_fits)
{
    EXPECT_THROW(sim::bus_broker broker("/tmp/" + std::string(120, 'x')), std::system_error);
    EXPECT_THROW(sim::bus_broker broker("/proc/no/bus.sock"), std::system_error);
}
} // namespace
