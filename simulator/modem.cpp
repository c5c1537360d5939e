#include "simulator/modem.h"
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>

namespace sim {
namespace {
using nlohmann::json;

constexpr int idle_ms = 200;
constexpr int cme_not_allowed = 3;
constexpr int cme_not_supported = 4;
constexpr int cme_sim_failure = 13;
constexpr int cme_sim_busy = 14;

const char *cme_text(int code)
{
    switch (code) {
    case cme_not_allowed:
        return "operation not allowed";
    case cme_not_supported:
        return "operation not supported";
    case cme_sim_failure:
        return "SIM failure";
    case cme_sim_busy:
        return "SIM busy";
    default:
        return "unknown";
    }
}

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

bool begins(const std::string &text, const std::string &start) { return text.compare(0, start.size(), start) == 0; }

[[noreturn]] void fail(const char *what) { throw std::system_error(errno, std::generic_category(), what); }
} // namespace

modem::modem(uint32_t number, std::filesystem::path terminal, euicc &card)
    : number_(number), terminal_(std::move(terminal)), card_(card), wake_(eventfd(0, EFD_CLOEXEC))
{
    if (!wake_) fail("eventfd");
    open_terminal();
    thread_ = std::thread([this] { serve(); });
}

modem::~modem()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    eventfd_write(wake_.get(), 1);
    thread_.join();
    close_terminal();
}

void modem::open_terminal()
{
    master_ = descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    char name[64];
    if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0 ||
        ptsname_r(master_.get(), name, sizeof name) != 0)
        fail("pseudo-terminal");
    slave_ = descriptor(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings = {};
    if (!slave_ || tcgetattr(slave_.get(), &settings) != 0) fail(name);
    cfmakeraw(&settings);
    tcsetattr(slave_.get(), TCSANOW, &settings);
    std::filesystem::remove(terminal_);
    std::filesystem::create_symlink(name, terminal_);
}

void modem::close_terminal()
{
    std::error_code ignored;
    std::filesystem::remove(terminal_, ignored);
    slave_ = descriptor();
    master_ = descriptor();
    input_.clear();
}

void modem::serve()
{
    for (;;) {
        int master = -1;
        {
            const std::lock_guard lock(mutex_);
            if (stopping_) return;
            master = master_.get();
        }
        pollfd waited[] = {{wake_.get(), POLLIN, 0}, {master, POLLIN, 0}};
        const int ready = poll(waited, 2, idle_ms);
        const std::lock_guard lock(mutex_);
        if (waited[0].revents != 0) {
            eventfd_t ignored = 0;
            eventfd_read(wake_.get(), &ignored);
        }
        // A user that was killed leaves the terminal marked as taken.
        if (ready == 0 && slave_) ioctl(slave_.get(), TIOCNXCL);
        if (!(waited[1].revents & POLLIN) || master_.get() != master) continue;
        char bytes[4096];
        const ssize_t count = read(master, bytes, sizeof bytes);
        if (count > 0) take(bytes, static_cast<size_t>(count));
    }
}

void modem::take(const char *bytes, size_t count)
{
    constexpr size_t longest_line = 4096;
    for (size_t i = 0; i < count && master_; ++i) {
        if (bytes[i] == '\n') continue;
        if (bytes[i] != '\r') {
            if (input_.size() < longest_line) input_ += bytes[i];
            continue;
        }
        const std::string line = std::exchange(input_, {});
        if (!line.empty()) execute(line);
    }
}

void modem::execute(const std::string &command)
{
    if (switches_.echo) write(command + "\r");
    const auto hit = take_fault(command);
    const std::string answer = hit ? apply(*hit, command) : answer_to(command);
    std::string logged = answer;
    std::erase_if(logged, [](char c) { return c == '\r' || c == '\n'; });
    log_.push_back({command, logged});
    if (!master_ || answer.empty()) return;
    if (switches_.latency_ms > 0) usleep(switches_.latency_ms * 1000);
    if (switches_.unsolicited_every > 0 && ++answers_ % switches_.unsolicited_every == 0)
        write(line(answers_ % 2 ? "+CREG: 1" : "+QIND: \"csq\",17,99"));
    write(answer);
}

void modem::write(const std::string &text)
{
    const size_t step = switches_.piece > 0 ? switches_.piece : text.size();
    for (size_t at = 0; at < text.size();) {
        const ssize_t count = ::write(master_.get(), text.data() + at, std::min(step, text.size() - at));
        if (count > 0) {
            at += static_cast<size_t>(count);
            continue;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) return;
        pollfd waited{master_.get(), POLLOUT, 0};
        if (poll(&waited, 1, idle_ms) <= 0) return; // nobody reads
    }
}

std::string modem::line(const std::string &text) const
{
    return (switches_.cr_cr_lf ? "\r\r\n" : "\r\n") + text + (switches_.cr_cr_lf ? "\r\r\n" : "\r\n");
}

std::string modem::cme_error(int code) const
{
    if (cmee_ == 0) return line("ERROR");
    return line("+CME ERROR: " + (cmee_ == 1 ? std::to_string(code) : std::string(cme_text(code))));
}

std::string modem::answer_to(const std::string &command)
{
    const std::string name = upper(command);
    if (begins(name, "AT+CSIM=")) return csim(command.substr(8));
    if (name == "AT+CMEE=?") return line("+CMEE: " + switches_.cmee_modes) + ok();
    if (name == "AT+CMEE?") return line("+CMEE: " + std::to_string(cmee_)) + ok();
    if (begins(name, "AT+CMEE=") && name.size() == 9 && name[8] >= '0' && name[8] <= '2') {
        cmee_ = name[8] - '0';
        return ok();
    }
    if (begins(name, "AT+CFUN=")) return cfun(name.substr(8));
    if (name == "AT+CFUN?") return line(std::string("+CFUN: ") + (radio_ ? "1" : "0")) + ok();
    if (name == "AT+CPIN?") {
        if (!radio_) return cme_error(cme_sim_failure);
        if (busy_left_ > 0) {
            --busy_left_;
            return cme_error(cme_sim_busy);
        }
        return line("+CPIN: READY") + ok();
    }
    if (name == "ATE0" || name == "ATE1") {
        switches_.echo = name == "ATE1";
        return ok();
    }
    if (name == "AT") return ok();
    if (name == "AT+CGMI") return line("Simulated") + ok();
    if (name == "AT+CGMM") return line("Desk modem") + ok();
    if (name == "ATI") return line("Simulated") + line("Desk modem") + ok();
    if (name == "AT+CGSN") return line("35000000000000" + std::to_string(number_)) + ok();
    return cme_error(cme_not_supported);
}

std::string modem::cfun(const std::string &value)
{
    if (value == "0") {
        radio_ = false;
        card_.reset();
        return ok();
    }
    if (value != "1") return cme_error(cme_not_supported);
    if (switches_.cfun_errors > 0) {
        --switches_.cfun_errors;
        return line("ERROR");
    }
    radio_ = true;
    card_.reset();
    switches_.echo = true;
    cmee_ = 0;
    busy_left_ = switches_.sim_busy;
    return ok();
}

// arguments: <length>,"<command>"
std::string modem::csim(const std::string &arguments)
{
    constexpr unsigned long shortest = 10;
    constexpr unsigned long longest = 522;
    const size_t first = arguments.find('"');
    const size_t last = arguments.rfind('"');
    if (first == std::string::npos || last <= first) return cme_error(cme_not_allowed);
    const std::string digits = arguments.substr(first + 1, last - first - 1);
    const unsigned long length = strtoul(arguments.c_str(), nullptr, 10);
    if (length != digits.size() || length < shortest || length > longest || length % 2 != 0)
        return cme_error(cme_not_allowed);
    if (!radio_) return cme_error(cme_sim_failure);
    byte_vector response;
    try {
        response = exchange_apdu(from_hex(digits));
    } catch (const std::exception &) { // no hex digits
        return cme_error(cme_not_allowed);
    }
    if (response.empty()) return cme_error(cme_sim_failure); // the card lost power
    return line(csim_text(response)) + ok();
}

byte_vector modem::exchange_apdu(byte_view command)
{
    byte_vector response = card_.transmit(command);
    while (switches_.collects && response.size() >= 2 && response[response.size() - 2] == 0x61) {
        const byte_vector next = card_.transmit(byte_vector{command[0], 0xC0, 0x00, 0x00, response.back()});
        response.resize(response.size() - 2);
        response.insert(response.end(), next.begin(), next.end());
    }
    return response;
}

std::string modem::csim_text(byte_view response) const
{
    std::string digits = to_hex(response);
    if (switches_.lower_case)
        std::ranges::transform(digits, digits.begin(), [](unsigned char c) { return static_cast<char>(tolower(c)); });
    const char *quote = switches_.quotes ? "\"" : "";
    return std::string("+CSIM:") + (switches_.blank ? " " : "") + std::to_string(digits.size()) + "," + quote + digits +
           quote;
}

std::optional<modem::fault> modem::take_fault(const std::string &command)
{
    for (fault &candidate : faults_) {
        if (candidate.times == 0 || command.find(candidate.contains) == std::string::npos) continue;
        if (candidate.skip > 0) {
            --candidate.skip;
            continue;
        }
        --candidate.times;
        ++faults_fired_;
        return candidate;
    }
    return std::nullopt;
}

std::string modem::apply(const fault &hit, const std::string &command)
{
    std::string answer;
    if (hit.after || hit.kind == "truncate" || hit.kind == "garbage") answer = answer_to(command);
    if (hit.kind == "error") return line("ERROR");
    if (hit.kind == "cme-error") return line("+CME ERROR: " + hit.text);
    if (hit.kind == "status-word") return line(csim_text(from_hex(hit.text))) + ok();
    if (hit.kind == "answer") return hit.text;
    if (hit.kind == "truncate") {
        const size_t quote = answer.find('"');
        const size_t end = answer.rfind('"');
        if (quote == std::string::npos || end - quote - 1 <= hit.length) return answer;
        return answer.substr(0, quote + 1 + hit.length) + answer.substr(end);
    }
    if (hit.kind == "garbage") return line("^SIMST: 1") + "\x01\x7f~" + answer;
    if (hit.kind == "hang-up") close_terminal();
    if (hit.kind == "power-cut") {
        card_.reset();
        return cme_error(cme_sim_failure);
    }
    return {}; // silence
}

json modem::control(const json &command)
{
    const std::lock_guard lock(mutex_);
    const std::string what = command.at("do");
    if (what == "log") {
        json entries = json::array();
        for (const exchange &entry : log_)
            entries.push_back({{"command", entry.command}, {"answer", entry.answer}});
        return {{"log", entries}};
    }
    if (what == "clear-log") {
        log_.clear();
    } else if (what == "set") {
        switches_.echo = command.value("echo", switches_.echo);
        switches_.quotes = command.value("quotes", switches_.quotes);
        switches_.blank = command.value("blank", switches_.blank);
        switches_.lower_case = command.value("lower_case", switches_.lower_case);
        switches_.cr_cr_lf = command.value("cr_cr_lf", switches_.cr_cr_lf);
        switches_.collects = command.value("collects", switches_.collects);
        switches_.piece = command.value("piece", switches_.piece);
        switches_.latency_ms = command.value("latency_ms", switches_.latency_ms);
        switches_.unsolicited_every = command.value("unsolicited_every", switches_.unsolicited_every);
        switches_.cmee_modes = command.value("cmee_modes", switches_.cmee_modes);
        switches_.cfun_errors = command.value("cfun_errors", switches_.cfun_errors);
        switches_.sim_busy = command.value("sim_busy", switches_.sim_busy);
    } else if (what == "fault") {
        static const std::vector<std::string> kinds = {"error",   "cme-error", "status-word", "answer",   "truncate",
                                                       "garbage", "silence",   "hang-up",     "power-cut"};
        fault ordered{.contains = command.value("contains", ""),
                      .skip = command.value("nth", 1U) - 1,
                      .times = command.value("times", 1U),
                      .kind = command.at("kind"),
                      .text = command.value("text", ""),
                      .length = command.value("length", size_t{0}),
                      .after = command.value("after", false)};
        if (std::ranges::find(kinds, ordered.kind) == kinds.end()) throw std::invalid_argument("unknown kind of fault");
        if (ordered.kind == "status-word") from_hex(ordered.text);
        faults_.push_back(std::move(ordered));
    } else if (what == "clear-faults") {
        faults_.clear();
    } else if (what == "hang-up") {
        close_terminal();
        eventfd_write(wake_.get(), 1);
    } else if (what == "return") {
        if (!master_) open_terminal();
        eventfd_write(wake_.get(), 1);
    } else if (what == "inspect") {
        return {{"terminal", terminal_.string()}, {"commands", log_.size()}, {"faults_fired", faults_fired_},
                {"echo", switches_.echo},         {"cmee", cmee_},           {"radio", radio_}};
    } else {
        throw std::invalid_argument("the modem does not know \"" + what + "\"");
    }
    return json::object();
}

} // namespace sim
