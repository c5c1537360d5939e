#include "simulator/router.h"
#include "simulator/control_socket.h"
#include "simulator/descriptor.h"
#include "simulator/euicc.h"
#include "simulator/modem.h"
#include "simulator/smdp.h"
#include "simulator/socks_proxy.h"
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/file.h>
#include <system_error>

namespace sim {
namespace {
using nlohmann::json;
namespace fs = std::filesystem;

// A modem and the card in its slot.
struct modem_with_card {
    modem_with_card(int number, const fs::path &directory, certificate_authority &authority)
        : card(directory / (name(number) + ".card.json"), router_eid(number), authority),
          device(number, directory / (name(number) + ".tty"),
                 {[this](byte_view command) { return card.transmit(command); }, [this] { card.reset(); }})
    {
    }
    static std::string name(int number) { return "modem" + std::to_string(number); }
    euicc card;
    modem device;
};

// Two routers in one directory would share cards; the lock ends with the process.
descriptor lock_directory(const fs::path &directory)
{
    fs::create_directories(directory);
    descriptor lock(open((directory / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw std::system_error(errno, std::generic_category(), "another router uses " + directory.string());
    return lock;
}
} // namespace

struct router::state {
    explicit state(const router_options &options);
    json terminals() const;
    void write_modem_configuration() const;
    json handle(const json &command);
    modem_with_card &modem_at(const json &number);

    fs::path directory;
    descriptor lock;
    certificate_authority authority;
    bus_broker bus;
    smdp server;
    int server_port;
    socks_proxy proxy;
    std::vector<std::unique_ptr<modem_with_card>> modems;
    json description;
    std::unique_ptr<control_socket> control; // last: it is gone before what it controls
};

router::state::state(const router_options &options)
    : directory(fs::absolute(options.directory).lexically_normal()), lock(lock_directory(directory)),
      authority(directory / "certificates"), bus(options.bus_path), server(authority),
      server_port(server.start(options.server_port))
{
    for (int number = 0; number < options.modems; ++number)
        modems.push_back(std::make_unique<modem_with_card>(number, directory, authority));
    write_modem_configuration();
    control = std::make_unique<control_socket>(directory / "control.sock",
                                               [this](const json &command) { return handle(command); });
    description = {{"bus", options.bus_path},
                   {"modems", terminals()},
                   {"modem_configuration", directory / "modems.json"},
                   {"server", "localhost:" + std::to_string(server_port)},
                   {"proxy", "localhost:" + std::to_string(proxy.port())},
                   {"control", directory / "control.sock"}};
}

json router::state::terminals() const
{
    json paths = json::array();
    for (const auto &one : modems)
        paths.push_back(one->device.terminal());
    return paths;
}

void router::state::write_modem_configuration() const
{
    json entries = json::object();
    for (size_t number = 0; number < modems.size(); ++number)
        entries[std::to_string(number)] = {{"terminal", modems[number]->device.terminal()}};
    std::ofstream file(directory / "modems.json");
    file << json{{"modems", entries}}.dump(2) << "\n";
    if (!file.flush()) throw std::system_error(errno, std::generic_category(), "modems.json");
}

modem_with_card &router::state::modem_at(const json &number)
{
    const auto index = number.get<size_t>();
    if (index >= modems.size()) throw std::invalid_argument("there is no modem " + number.dump());
    return *modems[index];
}

json router::state::handle(const json &command)
{
    if (command.contains("modem")) return modem_at(command["modem"]).device.control(command);
    if (command.contains("card")) return modem_at(command["card"]).card.control(command);
    if (command.contains("bus")) return bus.control(command);
    if (command.contains("proxy")) return proxy.control(command);
    if (command.contains("server")) return server.control(command);
    throw std::invalid_argument("a command names modem, card, bus, proxy or server");
}

router::router(const router_options &options) : state_(std::make_unique<state>(options)) {}
router::~router() = default;
const json &router::description() const { return state_->description; }

std::string router_eid(int modem)
{
    const std::string number = "8904903212345123451234567890" + std::to_string(modem) + "2";
    int remainder = 0;
    for (const char digit : number + "00")
        remainder = (remainder * 10 + (digit - '0')) % 97;
    const int check = 98 - remainder;
    return number + static_cast<char>('0' + check / 10) + static_cast<char>('0' + check % 10);
}

} // namespace sim
