#include "simulator/control_socket.h"
#include "simulator/descriptor.h"
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

namespace {
using nlohmann::json;
namespace fs = std::filesystem;

class control : public testing::Test {
  protected:
    control() : folder("/tmp/lpa_control_test_" + std::to_string(getpid())) { fs::create_directories(folder); }
    ~control() override { fs::remove_all(folder); }

    static json handle(const json &command)
    {
        if (command.contains("fail")) throw std::invalid_argument("you asked for it");
        if (command.contains("number")) return 7;
        if (command.contains("bytes")) return {{"text", "\xFF"}};
        return {{"got", command}};
    }
    class client {
      public:
        explicit client(const fs::path &path)
        {
            sockaddr_un address = {};
            address.sun_family = AF_UNIX;
            path.string().copy(address.sun_path, sizeof address.sun_path - 1);
            EXPECT_EQ(connect(socket_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        }
        void send(const std::string &text) const
        {
            ASSERT_EQ(write(socket_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
        }
        std::string read_line()
        {
            size_t end = 0;
            while ((end = received_.find('\n')) == std::string::npos) {
                pollfd waited = {socket_.get(), POLLIN, 0};
                char bytes[4096];
                const ssize_t count = poll(&waited, 1, 5000) > 0 ? read(socket_.get(), bytes, sizeof bytes) : 0;
                if (count <= 0) return "(nothing)";
                received_.append(bytes, static_cast<size_t>(count));
            }
            const std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }

      private:
        sim::descriptor socket_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
        std::string received_;
    };
    fs::path folder;
};

TEST_F(control, answers_each_line_with_a_line)
{
    const sim::control_socket served(folder / "c", handle);
    client peer(folder / "c");
    peer.send("{\"a\":1}\n{\"number\":0}\n{\"fail\":0}\n[]\nnonsense\n");
    EXPECT_EQ(peer.read_line(), "{\"got\":{\"a\":1},\"ok\":true}");
    EXPECT_EQ(peer.read_line(), "{\"ok\":true,\"result\":7}");
    EXPECT_EQ(peer.read_line(), "{\"error\":\"you asked for it\"}");
    EXPECT_EQ(peer.read_line(), "{\"error\":\"a command is a JSON object\"}");
    EXPECT_TRUE(json::parse(peer.read_line()).contains("error"));
    peer.send("{\"bytes\":0}\n");
    EXPECT_EQ(peer.read_line(), "{\"ok\":true,\"text\":\"\uFFFD\"}");
}

TEST_F(control, serves_several_clients_and_lines_in_pieces)
{
    const sim::control_socket served(folder / "c", handle);
    client first(folder / "c");
    first.send("{\"a\"");
    {
        client second(folder / "c");
        second.send("{}\n");
        EXPECT_EQ(second.read_line(), "{\"got\":{},\"ok\":true}");
    }
    first.send(":1}\n");
    EXPECT_EQ(first.read_line(), "{\"got\":{\"a\":1},\"ok\":true}");
}

TEST_F(control, sends_long_answers_to_slow_readers)
{
    const sim::control_socket served(folder / "c", handle);
    client peer(folder / "c");
    const std::string text(1000000, 'x');
    peer.send("{\"a\":\"" + text + "\"}\n");
    EXPECT_EQ(peer.read_line(), "{\"got\":{\"a\":\"" + text + "\"},\"ok\":true}");
}

TEST_F(control, takes_paths_longer_than_a_socket_address)
{
    const fs::path deep = folder / std::string(100, 'd') / std::string(100, 'e');
    fs::create_directories(deep);
    {
        const sim::control_socket served(deep / "c", handle);
        EXPECT_TRUE(fs::is_socket(deep / "c"));
        fs::create_symlink(deep / "c", folder / "c");
        client peer(folder / "c");
        peer.send("{}\n");
        EXPECT_EQ(peer.read_line(), "{\"got\":{},\"ok\":true}");
    }
    EXPECT_FALSE(fs::exists(deep / "c"));
}

TEST_F(control, replaces_what_an_earlier_one_left)
{
    fs::create_symlink("/tmp/nowhere", folder / "c");
    const sim::control_socket served(folder / "c", handle);
    EXPECT_TRUE(fs::is_socket(folder / "c"));
}

TEST_F(control, needs_a_folder)
{
    EXPECT_THROW(sim::control_socket(folder / "no" / "c", handle), std::system_error);
    EXPECT_THROW(sim::control_socket(folder / std::string(120, 'c'), handle), std::system_error);
}
} // namespace
