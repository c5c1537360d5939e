#include "simulator/modem.h"
#include "simulator/control_command.h"
#include "simulator/descriptor.h"
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <thread>

namespace sim {
namespace {
using nlohmann::json;
using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr size_t max_unread = 1024 * 1024; // what nobody reads is lost in the end
constexpr milliseconds piece_pause(1);
constexpr milliseconds vanish_patience(1000); // for the last answer to be read
constexpr milliseconds vanish_check(1);
constexpr milliseconds plug_in_pause(100);

std::system_error failure(const char *what) { return {errno, std::generic_category(), what}; }

// A pseudo-terminal. The slave is held open: closing it elsewhere is no hang-up then.
struct pseudo_terminal {
    descriptor master;
    descriptor slave;
    descriptor watch; // inotify: others open and close the slave
    int openers = 0;
};

pseudo_terminal open_pseudo_terminal(std::string *name)
{
    pseudo_terminal made;
    made.master = descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    char buffer[64];
    if (!made.master || grantpt(made.master.get()) != 0 || unlockpt(made.master.get()) != 0 ||
        ptsname_r(made.master.get(), buffer, sizeof buffer) != 0)
        throw failure("pseudo-terminal");
    *name = buffer;
    made.slave = descriptor(open(buffer, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    termios settings = {};
    if (!made.slave || tcgetattr(made.slave.get(), &settings) != 0) throw failure(buffer);
    cfmakeraw(&settings); // or the terminal would echo the modem's own words back to it
    tcsetattr(made.slave.get(), TCSANOW, &settings);
    made.watch = descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    inotify_add_watch(made.watch.get(), buffer, IN_OPEN | IN_CLOSE);
    return made;
}

// What goes out at a time of its own.
struct outgoing {
    clock::time_point due;
    std::string bytes;
    bool vanishes = false; // the terminal does, once all before it was read
    int return_ms = 0;
    clock::time_point latest = {}; // or at this time, whoever sleeps
};
} // namespace

struct modem::state {
    state(int number, std::filesystem::path made_link, card_slot card);
    ~state();
    state(const state &) = delete;
    state &operator=(const state &) = delete;

    void run();
    void plug_in();
    void try_to_plug_in();
    void unplug(int return_ms);
    int wait_ms() const;
    void note_openers();
    void receive();
    void send_due();
    bool send_front();
    bool is_read_out(const outgoing &last) const;
    void queue(const modem_reaction &reaction);
    void queue_text(clock::time_point due, const std::string &text);
    json control(const json &command);
    json log() const;

    std::filesystem::path link;
    descriptor wake;
    std::mutex mutex; // of all below
    at_interpreter interpreter;
    pseudo_terminal terminal;
    std::deque<outgoing> output;
    size_t unread = 0; // bytes in output
    std::optional<clock::time_point> back_at;
    bool ends = false;
    std::thread thread;
};

modem::state::state(int number, std::filesystem::path made_link, card_slot card)
    : link(std::move(made_link)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), interpreter(number, std::move(card))
{
    if (!wake) throw failure("eventfd");
    plug_in();
    thread = std::thread([this] { run(); });
}

modem::state::~state()
{
    {
        const std::lock_guard lock(mutex);
        ends = true;
    }
    eventfd_write(wake.get(), 1);
    thread.join();
    std::error_code ignored;
    std::filesystem::remove(link, ignored);
}

void modem::state::plug_in()
{
    std::string name;
    terminal = open_pseudo_terminal(&name);
    const std::filesystem::path made = link.string() + ".new";
    std::filesystem::remove(made);
    std::filesystem::create_symlink(name, made);
    std::filesystem::rename(made, link); // at no time does the link lead to another device
    back_at.reset();
}

// A machine that is out of pseudo-terminals for a moment must not end the simulator.
void modem::state::try_to_plug_in()
{
    try {
        plug_in();
    } catch (const std::system_error &) {
        back_at = clock::now() + plug_in_pause;
    }
}

void modem::state::unplug(int return_ms)
{
    std::error_code ignored;
    std::filesystem::remove(link, ignored);
    terminal = {};
    output.clear();
    unread = 0;
    interpreter.forget_partial_line();
    back_at.reset();
    if (return_ms >= 0) back_at = clock::now() + milliseconds(return_ms);
}

int modem::state::wait_ms() const
{
    std::optional<clock::time_point> next = back_at;
    if (!output.empty()) next = output.front().due;
    if (!next) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*next - clock::now());
    return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

void modem::state::run()
{
    std::unique_lock lock(mutex);
    while (!ends) {
        const bool writes = !output.empty() && output.front().due <= clock::now() && !output.front().bytes.empty();
        std::array<pollfd, 3> watched = {
            {{wake.get(), POLLIN, 0},
             {terminal.watch.get(), POLLIN, 0},
             {terminal.master.get(), static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN), 0}}};
        const int timeout = writes ? -1 : wait_ms();
        lock.unlock();
        poll(watched.data(), watched.size(), timeout);
        lock.lock();
        eventfd_t ignored = 0;
        if (watched[0].revents) eventfd_read(wake.get(), &ignored);
        if (watched[1].revents) note_openers();
        if (watched[2].revents & POLLIN) receive();
        send_due();
        if (back_at && *back_at <= clock::now()) try_to_plug_in();
    }
}

// When the last one who had the terminal open is gone, so is what he did not read, and his claim to have it alone:
// a pseudo-terminal remembers that, unlike a device that is really closed.
void modem::state::note_openers()
{
    char buffer[4096];
    bool closed = false;
    for (ssize_t size = 0; (size = read(terminal.watch.get(), buffer, sizeof buffer)) > 0;)
        for (const char *at = buffer; at < buffer + size;) {
            inotify_event event = {};
            memcpy(&event, at, sizeof event);
            if (event.mask & IN_OPEN) ++terminal.openers;
            if (event.mask & IN_CLOSE) --terminal.openers;
            closed = closed || event.mask & IN_CLOSE;
            at += sizeof event + event.len;
        }
    if (!closed || terminal.openers > 0) return;
    ioctl(terminal.slave.get(), TIOCNXCL);
    std::erase_if(output, [](const outgoing &one) { return !one.vanishes; });
    unread = 0;
}

void modem::state::receive()
{
    char bytes[4096];
    const ssize_t count = read(terminal.master.get(), bytes, sizeof bytes);
    if (count <= 0) return;
    for (const modem_reaction &reaction : interpreter.receive({bytes, static_cast<size_t>(count)}))
        queue(reaction);
}

void modem::state::queue(const modem_reaction &reaction)
{
    const auto now = clock::now();
    queue_text(now, reaction.at_once);
    queue_text(now + milliseconds(interpreter.habits.latency_ms), reaction.answer);
    if (reaction.vanishes)
        output.push_back(
            {now, "", true, reaction.return_ms, now + milliseconds(interpreter.habits.latency_ms) + vanish_patience});
}

void modem::state::queue_text(clock::time_point due, const std::string &text)
{
    if (!terminal.master || unread + text.size() > max_unread) return;
    unread += text.size();
    const auto piece = size_t{interpreter.habits.piece};
    for (size_t at = 0; at < text.size(); due += piece_pause) {
        const size_t size = piece == 0 ? text.size() : std::min(piece, text.size() - at);
        output.push_back({due, text.substr(at, size)});
        at += size;
    }
}

// In the order queued: an entry waits for those before it, even when it is due.
void modem::state::send_due()
{
    while (!output.empty() && output.front().due <= clock::now()) {
        outgoing &front = output.front();
        if (front.vanishes) {
            if (!is_read_out(front)) {
                front.due = clock::now() + vanish_check;
                return;
            }
            unplug(front.return_ms);
        } else if (!send_front()) {
            return;
        }
    }
}

bool modem::state::send_front()
{
    std::string &bytes = output.front().bytes;
    const ssize_t count = write(terminal.master.get(), bytes.data(), bytes.size());
    if (count <= 0) return false;
    unread -= static_cast<size_t>(count);
    bytes.erase(0, static_cast<size_t>(count));
    if (bytes.empty()) output.pop_front();
    return true;
}

// A hang-up throws away what the other side has not read: it gets a while for that.
bool modem::state::is_read_out(const outgoing &last) const
{
    int waiting = 0;
    ioctl(terminal.slave.get(), FIONREAD, &waiting);
    return waiting == 0 || terminal.openers == 0 || clock::now() >= last.latest;
}

json modem::state::control(const json &command)
{
    const control_command asked(command, "modem");
    if (asked.is("log")) return {{"log", log()}};
    if (asked.is("inspect")) {
        json result = interpreter.describe();
        result["terminal"] = link;
        result["present"] = static_cast<bool>(terminal.master);
        return result;
    }
    if (asked.is("clear-log")) interpreter.log.clear();
    else if (asked.is_called("set")) interpreter.set(command);
    else if (asked.is_called("fault")) interpreter.faults.add(command);
    else if (asked.is("clear-faults")) interpreter.faults.clear();
    else if (asked.is("line", "text"))
        queue_text(clock::now(), interpreter.unsolicited(command.at("text").get<std::string>()));
    else if (asked.is("hang-up", "return_ms")) unplug(command.value("return_ms", -1));
    else if (asked.is("return")) {
        std::erase_if(output, [](const outgoing &entry) { return entry.vanishes; }); // one that is still to come
        if (!terminal.master) plug_in();
    } else {
        throw std::invalid_argument("the modem does not know \"" + asked.name() + "\"");
    }
    return json::object();
}

json modem::state::log() const
{
    json entries = json::array();
    for (const exchange_entry &entry : interpreter.log) {
        entries.push_back({{"command", entry.command}, {"answer", entry.answer}});
        if (entry.fault) entries.back()["fault"] = entry.fault;
    }
    return entries;
}

modem::modem(int number, std::filesystem::path link, card_slot card)
    : state_(std::make_unique<state>(number, std::move(link), std::move(card)))
{
}

modem::~modem() = default;

const std::filesystem::path &modem::terminal() const { return state_->link; }

json modem::control(const json &command)
{
    const std::lock_guard lock(state_->mutex);
    json result = state_->control(command);
    eventfd_write(state_->wake.get(), 1);
    return result;
}

} // namespace sim
