#include "simulator/descriptor.h"
#include "simulator/socks_proxy.h"
#include <arpa/inet.h>
#include <array>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

namespace {
using namespace std::string_literals;
using nlohmann::json;
using sim::descriptor;
constexpr int patience_ms = 5000;

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// A server on a port of its own that is reached through the proxy.
class listening {
  public:
    listening()
    {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(socket_.get(), 1), 0);
        EXPECT_EQ(getsockname(socket_.get(), reinterpret_cast<sockaddr *>(&address), &size), 0);
        port = ntohs(address.sin_port);
    }
    descriptor accept() const { return descriptor(::accept(socket_.get(), nullptr, nullptr)); }
    std::string port_bytes() const { return {static_cast<char>(port >> 8), static_cast<char>(port)}; }
    uint16_t port = 0;

  private:
    descriptor socket_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

// So many bytes, or what came before the end.
std::string receive(const descriptor &from, size_t count)
{
    std::string text;
    while (text.size() < count) {
        pollfd waited = {from.get(), POLLIN, 0};
        if (poll(&waited, 1, patience_ms) <= 0) return text + "(silence)";
        char bytes[256];
        const ssize_t size = recv(from.get(), bytes, std::min(sizeof bytes, count - text.size()), 0);
        if (size <= 0) return text + "(end)";
        text.append(bytes, static_cast<size_t>(size));
    }
    return text;
}

void send(const descriptor &to, const std::string &text)
{
    ASSERT_EQ(::send(to.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
}

class proxy : public testing::Test {
  protected:
    descriptor connect_client() const
    {
        descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(static_cast<uint16_t>(served.port()));
        EXPECT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        return client;
    }
    descriptor greeted_client() const
    {
        descriptor client = connect_client();
        send(client, "\x05\x02\x02\x00"s);
        EXPECT_EQ(receive(client, 2), "\x05\x00"s);
        return client;
    }
    static std::string reply(char code) { return "\x05"s + code + "\x00\x01\x00\x00\x00\x00\x00\x00"s; }
    json targets() { return served.control({{"do", "inspect"}}).at("targets"); }

    sim::socks_proxy served;
    listening server;
};

TEST_F(proxy, resolves_names_and_passes_bytes_both_ways)
{
    const descriptor client = greeted_client();
    send(client, "\x05\x01\x00\x03\x09localhost"s + server.port_bytes());
    EXPECT_EQ(receive(client, 10), reply(0));
    const descriptor there = server.accept();
    send(client, "question");
    EXPECT_EQ(receive(there, 8), "question");
    send(there, "answer");
    EXPECT_EQ(receive(client, 6), "answer");
    EXPECT_EQ(targets(), json::array({{{"host", "localhost"}, {"port", server.port}, {"by_name", true}}}));
}

TEST_F(proxy, connects_to_addresses)
{
    const descriptor client = greeted_client();
    send(client, "\x05\x01\x00\x01\x7f\x00\x00\x01"s + server.port_bytes());
    EXPECT_EQ(receive(client, 10), reply(0));
    EXPECT_EQ(targets(), json::array({{{"host", "127.0.0.1"}, {"port", server.port}, {"by_name", false}}}));
}

TEST_F(proxy, ends_a_connection_when_one_side_does)
{
    const descriptor client = greeted_client();
    send(client, "\x05\x01\x00\x03\x09localhost"s + server.port_bytes());
    receive(client, 10);
    server.accept(); // and closed
    EXPECT_EQ(receive(client, 1), "(end)");
}

TEST_F(proxy, serves_several_clients)
{
    const descriptor silent = greeted_client();
    const descriptor client = greeted_client();
    send(client, "\x05\x01\x00\x03\x09localhost"s + server.port_bytes());
    EXPECT_EQ(receive(client, 10), reply(0));
}

struct refused_case {
    const char *name;
    std::string request;
    char code;
};
class refused_requests : public proxy, public testing::WithParamInterface<refused_case> {};
TEST_P(refused_requests, get_a_reply_and_no_connection)
{
    const descriptor client = greeted_client();
    send(client, GetParam().request);
    EXPECT_EQ(receive(client, 10), reply(GetParam().code));
    EXPECT_EQ(receive(client, 1), "(end)");
}
INSTANTIATE_TEST_SUITE_P(
    table, refused_requests,
    testing::ValuesIn(std::to_array<refused_case>({
        {"unknown_name", "\x05\x01\x00\x03\x0fnowhere.invalid\x01\xbb"s, 4},
        {"nobody_listens", "\x05\x01\x00\x01\x7f\x00\x00\x01\x00\x01"s, 4},
        {"nobody_listens_on_ipv6",
         "\x05\x01\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\x00\x01"s, 4},
        {"bind", "\x05\x02\x00\x01\x7f\x00\x00\x01\x00\x01"s, 7},
        {"unknown_kind_of_address", "\x05\x01\x00\x02"s, 8},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(proxy, refuses_as_ordered_and_notes_the_target)
{
    served.control({{"do", "refuse"}, {"reply", 2}});
    const descriptor client = greeted_client();
    send(client, "\x05\x01\x00\x03\x09localhost"s + server.port_bytes());
    EXPECT_EQ(receive(client, 10), reply(2));
    EXPECT_EQ(targets().size(), 1U);
    served.control({{"do", "refuse"}, {"reply", 0}});
    const descriptor again = greeted_client();
    send(again, "\x05\x01\x00\x03\x09localhost"s + server.port_bytes());
    EXPECT_EQ(receive(again, 10), reply(0));
}

TEST_F(proxy, takes_no_client_that_insists_on_a_password)
{
    const descriptor client = connect_client();
    send(client, "\x05\x01\x02"s);
    EXPECT_EQ(receive(client, 2), "\x05\xff"s);
    EXPECT_EQ(receive(client, 1), "(end)");
}

TEST_F(proxy, hangs_up_on_other_versions_and_cut_requests)
{
    const descriptor old = connect_client();
    send(old, "\x04\x01"s);
    EXPECT_EQ(receive(old, 1), "(end)");
    for (const std::string &cut :
         {"\x05\x01"s, "\x05\x01\x00\x03"s, "\x05\x01\x00\x03\x09local"s, "\x05\x01\x00\x01\x7f\x00\x00\x01\x01"s}) {
        const descriptor client = greeted_client();
        send(client, cut);
        shutdown(client.get(), SHUT_WR);
        EXPECT_EQ(receive(client, 1), "(end)");
    }
    EXPECT_EQ(targets(), json::array());
}

TEST_F(proxy, does_not_know_other_commands)
{
    EXPECT_THROW(served.control({{"do", "unheard"}}), std::invalid_argument);
    EXPECT_THROW(served.control({{"do", "refuse"}}), json::exception);
    EXPECT_THROW(served.control({{"do", "refuse"}, {"reply", 1}, {"x", 1}}), std::invalid_argument);
    EXPECT_THROW(served.control({{"do", "inspect"}, {"x", 1}}), std::invalid_argument);
}

TEST(proxy_end, does_not_wait_for_silent_clients)
{
    auto ending = std::make_unique<sim::socks_proxy>();
    const descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = loopback(static_cast<uint16_t>(ending->port()));
    ASSERT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    send(client, "\x05\x01\x00"s);
    EXPECT_EQ(receive(client, 2), "\x05\x00"s); // it is waiting for the request now
    ending.reset();
    EXPECT_EQ(receive(client, 1), "(end)");
}
} // namespace
