// The bus client with the simulator's broker, and with brokers that do not keep to the protocol.
#include "platform/bus/connection.h"
#include "simulator/bus_broker.h"
#include "support/bytes.h"
#include "unit/platform/bus_peer.h"
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

namespace {
std::function<void(int error)> after_connect; // of the client, 0 when it is connected
}

// In the C library's place, for the bus client as well.
extern "C" int connect(int socket, const sockaddr *address, socklen_t length)
{
    const long rc = syscall(SYS_connect, socket, address, length);
    const int error = errno;
    if (after_connect) after_connect(rc == 0 ? 0 : error);
    errno = error;
    return static_cast<int>(rc);
}

namespace {
using namespace bus_peer;
using nlohmann::json;
using std::chrono::steady_clock;
using testing::HasSubstr;

class test_bus {
  public:
    test_bus() : path("/tmp/lpa_bus_test_" + std::to_string(getpid())), broker(path) {}
    json control(const char *command) { return broker.control(json::parse(command)); }
    std::string path;
    sim::bus_broker broker;
};

// Ends with its scope.
struct connection {
    explicit connection(const std::string &path) : status(ubus_connect_ctx(&ctx, path.c_str())) {}
    ~connection() { ubus_shutdown(&ctx); }
    ubus_context ctx = {};
    int status;
};

struct message_buffer {
    message_buffer() { EXPECT_EQ(blob_buf_init(&buf, 0), 0); }
    ~message_buffer() { blob_buf_free(&buf); }
    void add_text(const char *name, const std::string &text)
    {
        EXPECT_EQ(
            blobmsg_add_field(&buf, BLOBMSG_TYPE_STRING, name, text.c_str(), static_cast<unsigned>(text.size() + 1)),
            0);
    }
    blob_buf buf = {};
};

// Waits of the calls that take no limit, shortened while the object lives.
struct short_patience {
    explicit short_patience(int ms) { lpa_bus_timeout_ms = ms; }
    ~short_patience() { lpa_bus_timeout_ms = before; }
    int before = lpa_bus_timeout_ms;
};

int write_file(ubus_context *ctx, const std::string &path, const std::string &text, const char *method = "write")
{
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(ctx, "file", &id), 0);
    message_buffer arguments;
    arguments.add_text("path", path);
    arguments.add_text("data", text);
    return ubus_invoke_fd(ctx, id, method, arguments.buf.head, nullptr, nullptr, 3000, -1);
}

TEST(bus, connects_and_learns_its_number)
{
    const test_bus bus;
    const connection first(bus.path);
    const connection second(bus.path);
    EXPECT_EQ(first.status, 0);
    EXPECT_GT(first.ctx.peer, 1U);
    EXPECT_EQ(second.ctx.peer, first.ctx.peer + 1);
    EXPECT_EQ(fcntl(first.ctx.sock.fd, F_GETFD), FD_CLOEXEC);
}

TEST(bus, connects_with_an_allocated_context)
{
    const test_bus bus;
    ubus_context *ctx = ubus_connect(bus.path.c_str());
    ASSERT_NE(ctx, nullptr);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(ctx, "file", &id), 0);
    ubus_free(ctx);
    EXPECT_EQ(ubus_connect("/tmp/no/such/socket"), nullptr);
    ubus_free(nullptr);
}

TEST(bus, takes_the_usual_socket_when_none_is_named)
{
    const sim::bus_broker broker(sim::default_bus_path); // the sandbox's own
    ubus_context ctx = {};
    EXPECT_EQ(ubus_connect_ctx(&ctx, nullptr), 0);
    ubus_shutdown(&ctx);
}

TEST(bus, does_not_connect_where_nobody_listens)
{
    const connection absent("/tmp/no/such/socket");
    EXPECT_EQ(absent.status, UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(absent.ctx.sock.fd, -1);
    EXPECT_EQ(connection("/tmp/" + std::string(200, 'x')).status, UBUS_STATUS_CONNECTION_FAILED);
}

TEST(bus, looks_objects_up)
{
    const test_bus bus;
    connection client(bus.path);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), 0);
    EXPECT_GT(id, 1023U);
    uint32_t other = 17;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "nothing", &other), UBUS_STATUS_NOT_FOUND);
    EXPECT_EQ(other, 17U);
}

TEST(bus, creates_and_empties_files)
{
    test_bus bus;
    connection client(bus.path);
    const std::string path = "/tmp/lpa_bus_test_file_" + std::to_string(getpid());
    EXPECT_EQ(write_file(&client.ctx, path, ""), 0);
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
    EXPECT_EQ(write_file(&client.ctx, path, "some text"), 0);
    EXPECT_EQ(std::filesystem::file_size(path), 9U);
    EXPECT_EQ(write_file(&client.ctx, path, ""), 0);
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
    std::filesystem::remove(path);
    EXPECT_EQ(write_file(&client.ctx, "/tmp/no/such/folder/file", ""), UBUS_STATUS_NOT_FOUND);
    EXPECT_EQ(write_file(&client.ctx, "/tmp", ""), UBUS_STATUS_UNKNOWN_ERROR);
    EXPECT_EQ(write_file(&client.ctx, path, "", "read"), UBUS_STATUS_METHOD_NOT_FOUND);
    const json calls = bus.control(R"({"bus":"calls"})")["calls"];
    ASSERT_EQ(calls.size(), 5U);
    EXPECT_EQ(calls[3], (json{{"object", "file"},
                              {"method", "write"},
                              {"path", "/tmp/no/such/folder/file"},
                              {"data", ""},
                              {"status", 4}}));
}

TEST(bus, hands_on_what_a_service_refuses)
{
    test_bus bus;
    connection client(bus.path);
    bus.control(R"({"bus":"set","write_status":6})");
    EXPECT_EQ(write_file(&client.ctx, "/tmp/lpa_bus_test_never", ""), UBUS_STATUS_PERMISSION_DENIED);
    EXPECT_FALSE(std::filesystem::exists("/tmp/lpa_bus_test_never"));
    bus.control(R"({"bus":"set","file_object":false})");
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), UBUS_STATUS_NOT_FOUND);
}

TEST(bus, refuses_calls_that_it_cannot_make)
{
    const test_bus bus;
    connection client(bus.path);
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 77, "write", nullptr, nullptr, nullptr, 1000, -1), UBUS_STATUS_NOT_FOUND);
    uint32_t id = 0;
    ASSERT_EQ(ubus_lookup_id(&client.ctx, "file", &id), 0);
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, id, "write", nullptr, nullptr, nullptr, 1000, -1),
              UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, id, "write", nullptr, nullptr, nullptr, 1000, 0), UBUS_STATUS_NOT_SUPPORTED);
}

TEST(bus, sends_events_as_they_were_built)
{
    test_bus bus;
    connection client(bus.path);
    message_buffer event;
    const uint8_t number[] = {0, 0, 1, 2};
    event.add_text("modem", "gsm.modem0");
    EXPECT_EQ(blobmsg_add_field(&event.buf, BLOBMSG_TYPE_INT32, "event", number, sizeof number), 0);
    event.add_text("iccid", "");
    EXPECT_EQ(ubus_send_event(&client.ctx, "vorn.updates", event.buf.head), 0);
    const json events = bus.control(R"({"bus":"events"})")["events"];
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0], json::parse(R"({"name":"vorn.updates",
        "data":{"modem":"gsm.modem0","event":258,"iccid":""},
        "fields":[{"name":"modem","type":"string","value":"gsm.modem0"},
                  {"name":"event","type":"int32","value":258},
                  {"name":"iccid","type":"string","value":""}]})"));
    bus.control(R"({"bus":"clear"})");
    EXPECT_EQ(bus.control(R"({"bus":"events"})")["events"], json::array());
}

struct answers_seen {
    std::vector<std::string> texts;
    uint32_t object = 0;
};

TEST(bus, hands_the_answers_of_another_clients_object_to_the_callback)
{
    const test_bus bus;
    raw_client owner(bus.path);
    std::vector<byte_vector> added;
    ASSERT_EQ(owner.ask(ADD_OBJECT, 0, sim::write_blob_text(A_OBJPATH, "greeter"), &added), 0U);
    std::thread serving([&] {
        const auto call = owner.receive();
        ASSERT_TRUE(call && call->type == INVOKE);
        EXPECT_EQ(text(call->contents, A_METHOD), "greet");
        for (const char *answer : {"one", "three"})
            owner.answer(*call, DATA, sim::write_blob_text(A_DATA, answer));
        owner.answer(*call, DATA, {}); // no data in it: nothing to hand out
        owner.answer(*call, STATUS, sim::write_blob_uint32(A_STATUS, 0));
    });
    connection client(bus.path);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "greeter", &id), 0);
    answers_seen seen;
    const auto note = [](ubus_request *request, int, blob_attr *msg) {
        auto *result = static_cast<answers_seen *>(request->priv);
        result->texts.emplace_back(msg->data);
        result->object = request->peer;
    };
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, id, "greet", nullptr, note, &seen, 5000, -1), 0);
    serving.join();
    EXPECT_THAT(seen.texts, testing::ElementsAre("one", "three"));
    EXPECT_EQ(seen.object, id);
}

TEST(bus, learns_that_the_owner_of_an_object_went_away)
{
    const test_bus bus;
    raw_client owner(bus.path);
    ASSERT_EQ(owner.ask(ADD_OBJECT, 0, sim::write_blob_text(A_OBJPATH, "shortlived")), 0U);
    std::thread leaving([&] {
        EXPECT_TRUE(owner.receive());
        owner.close();
    });
    connection client(bus.path);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "shortlived", &id), 0);
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, id, "any", nullptr, nullptr, nullptr, 5000, -1), UBUS_STATUS_NOT_FOUND);
    leaving.join();
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "shortlived", &id), UBUS_STATUS_NOT_FOUND);
}

TEST(bus, survives_the_end_of_its_broker)
{
    auto bus = std::make_unique<test_bus>();
    connection client(bus->path);
    bus.reset();
    const auto before = std::signal(SIGPIPE, SIG_DFL); // writing to a closed socket would end the process
    uint32_t id = 0;
    message_buffer event;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(client.ctx.sock.fd, -1);
    EXPECT_EQ(ubus_send_event(&client.ctx, "an.event", event.buf.head), UBUS_STATUS_CONNECTION_FAILED);
    std::signal(SIGPIPE, before);
}

TEST(bus, gives_up_on_a_broker_that_does_not_answer)
{
    test_bus bus;
    connection client(bus.path);
    const short_patience patience(20);
    bus.control(R"({"bus":"set","answers":false})");
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), UBUS_STATUS_TIMEOUT);
    const auto start = steady_clock::now();
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 1, "send", nullptr, nullptr, nullptr, 30, -1), UBUS_STATUS_TIMEOUT);
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(29));
    bus.control(R"({"bus":"set","answers":true})");
    lpa_bus_timeout_ms = patience.before;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), 0); // the connection is still good
    bus.control(R"({"bus":"set","hello":false})");
    lpa_bus_timeout_ms = 20;
    EXPECT_EQ(connection(bus.path).status, UBUS_STATUS_CONNECTION_FAILED);
}

// A broker whose queue of clients is full: one waits in it already.
struct busy_broker {
    busy_broker()
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const auto *name = reinterpret_cast<const sockaddr *>(&address);
        EXPECT_EQ(bind(listener.get(), name, sizeof address), 0);
        EXPECT_EQ(listen(listener.get(), 0), 0);
        EXPECT_EQ(connect(waiting.get(), name, sizeof address), 0);
    }
    ~busy_broker()
    {
        after_connect = nullptr;
        unlink(path.c_str());
    }
    sim::descriptor accept_one() const { return sim::descriptor(accept(listener.get(), nullptr, nullptr)); }
    const std::string path = "/tmp/lpa_bus_test_busy_" + std::to_string(getpid());
    const sim::descriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const sim::descriptor waiting{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST(bus, waits_for_a_broker_that_is_busy_accepting)
{
    const busy_broker broker;
    std::vector<int> errors;
    std::vector<sim::descriptor> accepted;
    after_connect = [&](int error) { // the broker's turn comes between two attempts of the client
        errors.push_back(error);
        accepted.push_back(broker.accept_one());
        if (error == 0) send_all(accepted.back().get(), hello());
    };
    EXPECT_EQ(connection(broker.path).status, 0);
    EXPECT_THAT(errors, testing::ElementsAre(EAGAIN, 0));
}

TEST(bus, gives_up_on_a_broker_that_never_accepts)
{
    const busy_broker broker;
    const short_patience patience(30);
    EXPECT_EQ(connection(broker.path).status, UBUS_STATUS_CONNECTION_FAILED);
}

struct greeting_case {
    const char *name;
    byte_vector greeting;
};
class bad_greeting : public testing::TestWithParam<greeting_case> {};

TEST_P(bad_greeting, is_no_connection)
{
    scripted_broker broker(GetParam().greeting);
    EXPECT_EQ(connection(broker.path()).status, UBUS_STATUS_CONNECTION_FAILED);
}

INSTANTIATE_TEST_SUITE_P(table, bad_greeting,
                         testing::ValuesIn(std::vector<greeting_case>{
                             {"closed_at_once", {}},
                             {"cut_short_in_the_header", bytes("00 00 00 00 00")},
                             {"cut_short_in_the_root", bytes("00000000 00001001 00000010 0000")},
                             {"status_first", status_message(0, 0)},
                             {"other_version", bytes("01000000 00001001 00000004")},
                             {"root_of_0_bytes", bytes("00000000 00001001 00000000")},
                             {"root_of_3_bytes", bytes("00000000 00001001 00000003")},
                             {"root_of_more_than_1_MiB", bytes("00000000 00001001 00100001")},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

struct hostile_case {
    const char *name;
    byte_vector (*answer)(const raw_message &request);
    int status; // of ubus_lookup_id
};
class hostile_answer : public testing::TestWithParam<hostile_case> {};

TEST_P(hostile_answer, gives_a_status)
{
    scripted_broker broker(hello(), {GetParam().answer});
    connection client(broker.path());
    uint32_t id = 17;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), GetParam().status);
    EXPECT_EQ(id, GetParam().status == 0 ? 5U : 17U);
}

byte_vector lookup_answer(uint16_t sequence, const byte_vector &contents)
{
    return sim::join({encode({DATA, sequence, 0, contents}), status_message(sequence, 0)});
}

INSTANTIATE_TEST_SUITE_P(
    table, hostile_answer,
    testing::ValuesIn(std::vector<hostile_case>{
        {"regular", [](const raw_message &r) { return lookup_answer(r.sequence, sim::write_blob_uint32(A_OBJID, 5)); },
         0},
        {"nothing", [](const raw_message &) { return byte_vector(); }, UBUS_STATUS_CONNECTION_FAILED},
        {"object_without_number", [](const raw_message &r) { return lookup_answer(r.sequence, {}); },
         UBUS_STATUS_NOT_FOUND},
        {"number_of_3_bytes",
         [](const raw_message &r) {
             return lookup_answer(r.sequence, sim::write_blob_attribute(A_OBJID, bytes("000005")));
         },
         UBUS_STATUS_NOT_FOUND},
        {"number_in_an_attribute_that_runs_over_the_end",
         [](const raw_message &r) { return lookup_answer(r.sequence, bytes("03000009 00000005")); },
         UBUS_STATUS_NOT_FOUND},
        {"attribute_of_0_bytes",
         [](const raw_message &r) { return lookup_answer(r.sequence, bytes("00000000 03000008 00000005")); },
         UBUS_STATUS_NOT_FOUND},
        {"attribute_head_cut_short", [](const raw_message &r) { return lookup_answer(r.sequence, bytes("0300")); },
         UBUS_STATUS_NOT_FOUND},
        {"last_attribute_without_its_padding",
         [](const raw_message &r) { return lookup_answer(r.sequence, bytes("02000005 41")); }, UBUS_STATUS_NOT_FOUND},
        {"number_behind_a_padded_attribute",
         [](const raw_message &r) { return lookup_answer(r.sequence, bytes("02000005 41000000 03000008 00000005")); },
         0},
        {"status_without_number",
         [](const raw_message &r) {
             return encode({STATUS, r.sequence, 0, {}});
         },
         UBUS_STATUS_PARSE_ERROR},
        {"status_out_of_range", [](const raw_message &r) { return status_message(r.sequence, 14); },
         UBUS_STATUS_UNKNOWN_ERROR},
        {"negative_status", [](const raw_message &r) { return status_message(r.sequence, 0xFFFFFFFF); },
         UBUS_STATUS_UNKNOWN_ERROR},
        {"other_requests_status_first",
         [](const raw_message &r) {
             return sim::join(
                 {status_message(static_cast<uint16_t>(r.sequence - 1), 6), status_message(r.sequence, 4)});
         },
         UBUS_STATUS_NOT_FOUND},
        {"calls_for_us_first",
         [](const raw_message &r) {
             return sim::join({encode({INVOKE, r.sequence, 9, sim::write_blob_text(A_METHOD, "do")}),
                               status_message(r.sequence, 4)});
         },
         UBUS_STATUS_NOT_FOUND},
        {"answer_of_more_than_1_MiB", [](const raw_message &) { return bytes("00010001 00000000 00FFFFFF"); },
         UBUS_STATUS_PARSE_ERROR},
    }),
    [](const auto &info) { return std::string(info.param.name); });

TEST(bus, closes_a_connection_on_which_a_message_was_cut_short)
{
    const byte_vector whole = status_message(1, 0);
    for (size_t length = 0; length < whole.size(); ++length) {
        scripted_broker broker(hello(), {[&](const raw_message &) {
                                   return byte_vector(whole.begin(), whole.begin() + static_cast<long>(length));
                               }});
        connection client(broker.path());
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(&client.ctx, "file", &id), UBUS_STATUS_CONNECTION_FAILED) << length;
        EXPECT_EQ(client.ctx.sock.fd, -1);
    }
}

TEST(bus, closes_a_connection_when_the_time_ends_within_a_message)
{
    const byte_vector part = bytes("00010001 00000000 00"); // there before the time starts
    scripted_broker broker(sim::join({hello(), part}), {[](const raw_message &) { return byte_vector(); }}, false);
    connection client(broker.path());
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", nullptr, nullptr, nullptr, 20, -1), UBUS_STATUS_TIMEOUT);
    EXPECT_EQ(client.ctx.sock.fd, -1);
}

TEST(bus, passes_over_an_answer_that_came_too_late)
{
    const auto silent = [](const raw_message &) { return byte_vector(); };
    const auto both = [](const raw_message &request) {
        return sim::join({status_message(1, 6), status_message(request.sequence, 3)});
    };
    scripted_broker broker(hello(), {silent, both});
    connection client(broker.path());
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", nullptr, nullptr, nullptr, 20, -1), UBUS_STATUS_TIMEOUT);
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", nullptr, nullptr, nullptr, 5000, -1), UBUS_STATUS_METHOD_NOT_FOUND);
}

TEST(bus, leaves_a_broker_that_never_stops_answering)
{
    const auto flood = [](const raw_message &request) {
        byte_vector answers;
        for (int i = 0; i < 100000; ++i) {
            const byte_vector one = encode({DATA, request.sequence, 0, {}});
            answers.insert(answers.end(), one.begin(), one.end());
        }
        return answers;
    };
    scripted_broker broker(hello(), {flood}, false);
    {
        connection client(broker.path());
        EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", nullptr, nullptr, nullptr, 20, -1), UBUS_STATUS_TIMEOUT);
    }
}

TEST(bus, gives_up_sending_to_a_broker_that_does_not_read)
{
    scripted_broker broker(hello(), {}, false);
    connection client(broker.path());
    message_buffer large;
    large.add_text("data", std::string(900000, 'x'));
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", large.buf.head, nullptr, nullptr, 30, -1), UBUS_STATUS_TIMEOUT);
    EXPECT_EQ(client.ctx.sock.fd, -1); // half a message was sent
}

TEST(bus, takes_any_answer_without_harm)
{
    const byte_vector whole =
        lookup_answer(1, sim::join({sim::write_blob_text(A_OBJPATH, "file"), sim::write_blob_uint32(A_OBJID, 5)}));
    const short_patience patience(2000);
    for (size_t at = 0; at < whole.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            byte_vector changed = whole;
            changed[at] ^= static_cast<uint8_t>(1 << bit);
            scripted_broker broker(hello(), {[&](const raw_message &) { return changed; }});
            connection client(broker.path());
            uint32_t id = 0;
            const int status = ubus_lookup_id(&client.ctx, "file", &id);
            EXPECT_TRUE(status >= 0 && status <= UBUS_STATUS_SYSTEM_ERROR);
            EXPECT_EQ(status == 0, id != 0) << at << "." << bit;
        }
}

// The message as it travels.
byte_view bytes_of(const blob_buf &buf)
{
    const auto *start = reinterpret_cast<const uint8_t *>(buf.head);
    return {start, *sim::blob_to_uint32({start, 4}) & sim::blob_max_length};
}

std::string hex_of(const blob_buf &buf) { return hex(bytes_of(buf).data(), bytes_of(buf).size()); }

TEST(blob, is_built_in_network_byte_order_with_padding)
{
    message_buffer message;
    EXPECT_EQ(hex_of(message.buf), "00000004");
    message.add_text("path", "/a");
    EXPECT_EQ(hex_of(message.buf), "00000014"
                                   "8300000F"
                                   "0004706174680000"
                                   "2F610000");
    const uint8_t number[] = {1, 2, 3, 4};
    EXPECT_EQ(blobmsg_add_field(&message.buf, BLOBMSG_TYPE_INT32, nullptr, number, 4), 0);
    EXPECT_EQ(hex_of(message.buf), "00000020"
                                   "8300000F"
                                   "0004706174680000"
                                   "2F610000"
                                   "8500000C"
                                   "00000000"
                                   "01020304");
}

TEST(blob, may_be_initialised_again_with_an_id)
{
    message_buffer message;
    message.add_text("name", std::string(5000, 'x'));
    EXPECT_EQ(blob_buf_init(&message.buf, 7), 0);
    EXPECT_EQ(hex_of(message.buf), "07000004");
}

TEST(blob, grows_with_its_fields)
{
    message_buffer message;
    for (int i = 0; i < 1000; ++i)
        message.add_text("n", std::string(static_cast<size_t>(i % 7), 'x'));
    const auto fields = sim::read_blob_fields(bytes_of(message.buf).subspan(4));
    ASSERT_TRUE(fields);
    ASSERT_EQ(fields->size(), 1000U);
    EXPECT_EQ(sim::blob_to_text(fields->at(6).value), "xxxxxx");
    EXPECT_EQ(sim::blob_to_text(fields->at(999).value), "xxxxx");
}

TEST(blob, refuses_what_does_not_fit_its_lengths)
{
    message_buffer message;
    const std::string text(0x1000000, 'x');
    EXPECT_EQ(blobmsg_add_field(&message.buf, BLOBMSG_TYPE_STRING, "n", text.c_str(), 0xFFFFFFFF), -1);
    EXPECT_EQ(blobmsg_add_field(&message.buf, BLOBMSG_TYPE_STRING, "n", text.c_str(), 0xFFFFF8), -1);
    EXPECT_EQ(blobmsg_add_field(&message.buf, BLOBMSG_TYPE_STRING, text.substr(0, 65536).c_str(), "", 1), -1);
    EXPECT_EQ(blobmsg_add_field(&message.buf, 128, "n", "", 1), -1);
    EXPECT_EQ(blobmsg_add_field(&message.buf, -1, "n", "", 1), -1);
    blob_buf never_initialised = {};
    EXPECT_EQ(blobmsg_add_field(&never_initialised, BLOBMSG_TYPE_STRING, "n", "", 1), -1);
    EXPECT_EQ(hex_of(message.buf), "00000004");
}

TEST(blob, is_refused_as_an_argument_when_it_cannot_be_sent)
{
    const test_bus bus;
    connection client(bus.path);
    message_buffer large;
    large.add_text("n", std::string(0xFFFFE0, 'x')); // no room for the call's own attributes
    EXPECT_EQ(ubus_invoke_fd(&client.ctx, 5, "any", large.buf.head, nullptr, nullptr, 1000, -1), UBUS_STATUS_NO_MEMORY);
    EXPECT_EQ(ubus_send_event(&client.ctx, "an.event", large.buf.head), UBUS_STATUS_NO_MEMORY);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(&client.ctx, std::string(0x1000000, 'x').c_str(), &id), UBUS_STATUS_NO_MEMORY);
}
} // namespace
