#include "simulator/at_interpreter.h"
#include "simulator/crypto.h"
#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;

// TS 27.007, 9.2.
constexpr int cme_not_allowed = 3;
constexpr int cme_not_supported = 4;
constexpr int cme_sim_not_inserted = 10;
constexpr int cme_sim_failure = 13;
constexpr int cme_sim_busy = 14;
constexpr int cme_incorrect_parameters = 50;

const char *cme_text(int code)
{
    switch (code) {
    case cme_not_allowed:
        return "operation not allowed";
    case cme_not_supported:
        return "operation not supported";
    case cme_sim_not_inserted:
        return "SIM not inserted";
    case cme_sim_failure:
        return "SIM failure";
    case cme_sim_busy:
        return "SIM busy";
    case cme_incorrect_parameters:
        return "Incorrect parameters";
    default:
        return "unknown";
    }
}

// A command of TS 27.007 carries an APDU of 5 to 261 bytes.
constexpr size_t shortest_apdu_text = 10;
constexpr size_t longest_apdu_text = 522;
constexpr size_t longest_line = 16384; // beyond it, the rest of a command line is dropped

constexpr std::array unsolicited_texts = {"+CREG: 1", "+CGEV: ME DETACH", "+CIEV: 1,3", "+CPIN: READY"};

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(toupper(c)); });
    return text;
}

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(tolower(c)); });
    return text;
}

// 15 digits, the last one the check digit (TS 23.003, B.3).
std::string imei(int number)
{
    std::string digits = "3520990017614" + std::to_string(number);
    int sum = 0;
    for (size_t i = 0; i < digits.size(); ++i) {
        const int digit = digits[i] - '0';
        sum += i % 2 == 0 ? digit : digit * 2 / 10 + digit * 2 % 10;
    }
    return digits + std::to_string((10 - sum % 10) % 10);
}

// <length>,"<command>": the command's bytes, or nothing when the form is wrong.
std::optional<byte_vector> read_csim_argument(const std::string &argument, size_t *length)
{
    const size_t comma = argument.find(',');
    if (comma == 0 || comma > 5 || argument.find_first_not_of("0123456789") != comma) return std::nullopt;
    *length = std::stoul(argument.substr(0, comma));
    const std::string quoted = argument.substr(comma + 1);
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return std::nullopt;
    const std::string digits = quoted.substr(1, quoted.size() - 2);
    const bool hexadecimal = digits.find_first_not_of("0123456789ABCDEF") == std::string::npos;
    if (!hexadecimal || digits.size() % 2 != 0 || digits.size() != *length) return std::nullopt;
    return from_hex(digits);
}

// Does "(0-2)", "(0,1)" or "0" contain this mode?
bool offers(const std::string &modes, char mode)
{
    const size_t dash = modes.find('-');
    if (dash == std::string::npos) return modes.find(mode) != std::string::npos;
    return dash > 0 && dash + 1 < modes.size() && mode >= modes[dash - 1] && mode <= modes[dash + 1];
}

std::string without_line_ends(std::string text)
{
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return text;
}

uint8_t sw1(byte_view response) { return response.size() < 2 ? 0 : response[response.size() - 2]; }

// The digits of a +CSIM line, or the whole of another one.
struct payload {
    size_t begin;
    size_t size;
};

payload payload_of(const std::string &line)
{
    const size_t comma = line.find(',');
    if (!line.starts_with("+CSIM:") || comma == std::string::npos) return {0, line.size()};
    const size_t begin = line[comma + 1] == '"' ? comma + 2 : comma + 1;
    return {begin, line.size() - begin - (line.back() == '"' ? 1 : 0)};
}

void spoil(const fault &applied, std::string *line)
{
    const auto [begin, size] = payload_of(*line);
    size_t kept = size;
    if (applied.kind == fault_kind::no_digits) line->replace(begin, size, std::string(size, 'Z'));
    if (applied.kind == fault_kind::odd) kept = size - std::min<size_t>(size, 1);
    if (applied.kind == fault_kind::truncate) kept = std::min(applied.length.value_or(size / 4 * 2), size);
    line->erase(begin + kept, size - kept);
}
} // namespace

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(modem_habits, latency_ms, piece, unsolicited_every, announces_restart, quotes, blank,
                                   lower_case, cr_cr_lf, collects, occupies_channel, line_limit, beyond_limit, pin,
                                   cmee_modes, cfun_errors, sim_busy, refresh, vanish_ms)

at_interpreter::at_interpreter(int number, card_slot card) : number_(number), card_(std::move(card)) {}

std::vector<modem_reaction> at_interpreter::receive(std::string_view bytes)
{
    std::vector<modem_reaction> reactions;
    while (!bytes.empty()) {
        const size_t end = std::min(bytes.find_first_of("\r\n"), bytes.size());
        line_.append(bytes.substr(0, std::min(end, longest_line - line_.size())));
        if (end < bytes.size() && bytes[end] == '\r' && !line_.empty())
            reactions.push_back(react(std::exchange(line_, {})));
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
    return reactions;
}

std::string at_interpreter::unsolicited(const std::string &text) const
{
    return std::string(line_end()) + text + line_end();
}

void at_interpreter::restart_card()
{
    card_.reset();
    busy_left_ = habits.sim_busy;
    const byte_vector open_channel = {0x00, 0x70, 0x00, 0x00, 0x01};
    if (habits.occupies_channel) card_.transmit(open_channel);
}

modem_reaction at_interpreter::react(const std::string &line)
{
    ++commands_;
    progress state;
    if (echo_) state.reaction.at_once = line + "\r";
    if (habits.line_limit > 0 && line.size() > habits.line_limit) {
        state.raw = habits.beyond_limit == "repeat" ? previous_answer_ : "";
        state.fault = "line_limit";
    }
    const answer given =
        state.raw ? answer() : with_faults(fault_unit::command, line, state, [&] { return run(line, state); });
    state.reaction.answer = state.raw ? *state.raw : format(given);
    previous_answer_ = state.reaction.answer;
    log.push_back({line, without_line_ends(state.reaction.answer), state.fault});
    state.reaction.answer += state.afterwards;
    add_unsolicited(state.reaction);
    return state.reaction;
}

at_interpreter::answer at_interpreter::run(const std::string &line, progress &state)
{
    const std::string command = upper(line);
    const auto with_prefix = [&](const char *prefix) { return command.starts_with(prefix); };
    const auto argument = [&](size_t prefix_length) { return command.substr(prefix_length); };
    if (!with_prefix("AT")) {
        state.raw = ""; // not for the modem
        return {};
    }
    if (command == "AT") return {};
    if (command == "ATE" || command == "ATE0" || command == "ATE1") {
        echo_ = command == "ATE1";
        return {};
    }
    if (command == "ATI") return {{"Desk", "Router Modem", "Revision: 1.0"}};
    if (command == "AT+CGMI") return {{"Desk"}};
    if (command == "AT+CGMM") return {{"Router Modem"}};
    if (command == "AT+CGMR") return {{"1.0"}};
    if (command == "AT+CGSN") return {{imei(number_)}};
    if (command == "AT+CMEE=?") return {{"+CMEE: " + habits.cmee_modes}};
    if (command == "AT+CMEE?") return {{"+CMEE: " + std::to_string(error_mode_)}};
    if (with_prefix("AT+CMEE=")) return set_error_mode(argument(8));
    if (command == "AT+CFUN=?") return {{"+CFUN: (0,1,4),(0,1)"}};
    if (command == "AT+CFUN?") return {{"+CFUN: " + std::to_string(function_)}};
    if (with_prefix("AT+CFUN=")) return set_function(argument(8), state);
    if (command == "AT+CPIN?") {
        if (function_ == 0) return error(cme_sim_not_inserted);
        return is_busy() ? error(cme_sim_busy) : answer{{"+CPIN: " + habits.pin}};
    }
    if (command == "AT+CSIM=?") return {};
    if (with_prefix("AT+CSIM=")) return exchange(argument(8), state);
    return {{}, "ERROR"};
}

at_interpreter::answer at_interpreter::set_error_mode(const std::string &argument)
{
    const bool known = argument.size() == 1 && argument[0] >= '0' && argument[0] <= '2';
    if (!known || !offers(habits.cmee_modes, argument[0])) return error(cme_incorrect_parameters);
    error_mode_ = argument[0] - '0';
    return {};
}

// Switching off takes the card's power; coming from there, or asking for a restart, starts card and modem anew.
at_interpreter::answer at_interpreter::set_function(const std::string &argument, progress &state)
{
    const bool known = argument == "0" || argument == "1" || argument == "4" || argument == "1,1" || argument == "1,0";
    if (!known) return error(cme_incorrect_parameters);
    if (argument[0] == '1' && habits.cfun_errors > 0) {
        --habits.cfun_errors;
        return {{}, "ERROR"};
    }
    const int before = std::exchange(function_, argument[0] - '0');
    if (argument != "1,1" && (function_ != 1 || before != 0)) return {};
    restart_card();
    echo_ = true;
    error_mode_ = 0;
    if (habits.announces_restart) state.afterwards = unsolicited("RDY") + unsolicited("+CPIN: " + habits.pin);
    if (habits.vanish_ms >= 0) {
        state.reaction.vanishes = true;
        state.reaction.return_ms = habits.vanish_ms;
    }
    return {};
}

bool at_interpreter::is_busy()
{
    if (busy_left_ == 0) return false;
    --busy_left_;
    return true;
}

at_interpreter::answer at_interpreter::exchange(const std::string &argument, progress &state)
{
    size_t length = 0;
    const auto apdu = read_csim_argument(argument, &length);
    if (!apdu) return error(cme_incorrect_parameters);
    if (length < shortest_apdu_text || length > longest_apdu_text) return error(cme_not_allowed);
    if (function_ == 0) return error(cme_sim_not_inserted);
    return with_faults(fault_unit::apdu, to_hex(*apdu), state, [&] { return transmit(*apdu, state); });
}

at_interpreter::answer at_interpreter::transmit(byte_view apdu, progress &state)
{
    byte_vector response = card_.transmit(apdu);
    while (habits.collects && sw1(response) == 0x61) {
        const byte_vector get_response = {apdu[0], 0xC0, 0x00, 0x00, response.back()};
        response.erase(response.end() - 2, response.end());
        const byte_vector piece = card_.transmit(get_response);
        response.insert(response.end(), piece.begin(), piece.end());
    }
    if (sw1(response) == 0x91 && habits.refresh != "ignore") {
        restart_card();
        state.reaction.vanishes = habits.refresh == "vanish";
        state.reaction.return_ms = std::max(habits.vanish_ms, 0);
    }
    if (response.empty()) return error(cme_sim_failure); // the card lost its power
    return {{csim_line(response)}};
}

at_interpreter::answer at_interpreter::with_faults(fault_unit unit, const std::string &text, progress &state,
                                                   const execution &execute)
{
    const auto found = faults.take(unit, text);
    if (!found) return execute();
    state.fault = fault_name(found->kind);
    return apply(*found, state, execute);
}

at_interpreter::answer at_interpreter::apply(const fault &applied, progress &state, const execution &execute)
{
    answer given = applied.after ? execute() : answer();
    switch (applied.kind) {
    case fault_kind::error:
        return {{}, "ERROR"};
    case fault_kind::cme_error:
        return {{}, "+CME ERROR: " + applied.text};
    case fault_kind::status_word:
        return {{csim_line(from_hex(applied.text))}};
    case fault_kind::answer:
        state.raw = applied.text;
        return {};
    case fault_kind::silence:
        state.raw = "";
        return {};
    case fault_kind::kill:
        applied.sent.send();
        state.raw = "";
        return {};
    case fault_kind::hang_up:
        state.raw = "";
        state.reaction.vanishes = true;
        state.reaction.return_ms = applied.return_ms;
        return {};
    case fault_kind::power_cut:
        restart_card();
        return error(cme_sim_failure);
    case fault_kind::garbage:
        given.noise = unsolicited("+CIEV: 1,3") + "\x01\x7f~";
        state.afterwards = given.noise;
        return given;
    default:
        for (std::string &line : given.lines)
            spoil(applied, &line);
        return given;
    }
}

at_interpreter::answer at_interpreter::error(int cme_code) const
{
    if (error_mode_ == 1) return {{}, "+CME ERROR: " + std::to_string(cme_code)};
    if (error_mode_ == 2) return {{}, std::string("+CME ERROR: ") + cme_text(cme_code)};
    return {{}, "ERROR"};
}

std::string at_interpreter::format(const answer &formatted) const
{
    std::string text = formatted.noise;
    for (const std::string &line : formatted.lines)
        text += line_end() + line + line_end();
    return text + line_end() + formatted.result + line_end();
}

std::string at_interpreter::csim_line(byte_view response) const
{
    const std::string digits = habits.lower_case ? lower(to_hex(response)) : to_hex(response);
    const char *quote = habits.quotes ? "\"" : "";
    return std::string("+CSIM:") + (habits.blank ? " " : "") + std::to_string(digits.size()) + "," + quote + digits +
           quote;
}

// Lines that nobody asked for come before the echo, between echo and answer, and behind the answer in turn.
void at_interpreter::add_unsolicited(modem_reaction &reaction)
{
    if (habits.unsolicited_every == 0 || commands_ % habits.unsolicited_every != 0) return;
    const uint32_t count = unsolicited_lines_++;
    const std::string line = unsolicited(unsolicited_texts[count % unsolicited_texts.size()]);
    switch (count % 3) {
    case 0:
        reaction.at_once += line;
        break;
    case 1:
        reaction.at_once = line + reaction.at_once;
        break;
    default:
        reaction.answer += line;
    }
}

void at_interpreter::set(const json &command)
{
    json changed = habits;
    for (const auto &[name, value] : command.items()) {
        if (name == "modem" || name == "do" || name == "echo") continue;
        if (!changed.contains(name)) throw std::invalid_argument("a modem has no switch \"" + name + "\"");
        changed[name] = value;
    }
    const modem_habits wanted = changed;
    if (wanted.beyond_limit != "ignore" && wanted.beyond_limit != "repeat")
        throw std::invalid_argument("\"beyond_limit\" takes ignore or repeat");
    if (wanted.refresh != "ignore" && wanted.refresh != "restart" && wanted.refresh != "vanish")
        throw std::invalid_argument("\"refresh\" takes ignore, restart or vanish");
    echo_ = command.value("echo", echo_);
    habits = wanted;
}

json at_interpreter::describe() const
{
    return {{"commands", commands_},       {"faults_fired", faults.fired()},
            {"faults", faults.describe()}, {"echo", echo_},
            {"cmee", error_mode_},         {"radio", function_ == 1},
            {"function", function_},       {"imei", imei(number_)},
            {"switches", json(habits)}};
}

} // namespace sim
