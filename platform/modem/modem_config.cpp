#include "platform/modem/modem_config.h"
#include "platform/config/config_file.h"
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {
using nlohmann::json;

constexpr const char *default_path = "/etc/lpa/modems.json";

struct baud_rate {
    int64_t baud;
    speed_t speed;
};
constexpr baud_rate baud_rates[] = {
    {9600, B9600},     {19200, B19200},   {38400, B38400},   {57600, B57600},
    {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
};

bool find_speed(int64_t baud, speed_t *speed)
{
    for (const baud_rate &rate : baud_rates)
        if (rate.baud == baud) {
            *speed = rate.speed;
            return true;
        }
    return false;
}

bool read_terminal(const json *entry, std::string *terminal)
{
    const json *const value = config_file__member(entry, "terminal");
    if (value && value->is_string()) *terminal = value->get<std::string>();
    return !terminal->empty();
}

bool read_baud(const json *entry, speed_t *speed)
{
    const json *const value = config_file__member(entry, "baud");
    if (!value) return true;
    return value->is_number_integer() && find_speed(value->get<int64_t>(), speed);
}

bool read_timeout(const json *entry, int64_t *timeout_ms)
{
    constexpr double longest_s = 1e9;
    const json *const value = config_file__member(entry, "timeout");
    if (!value) return true;
    if (!value->is_number() || value->get<double>() < 0 || value->get<double>() > longest_s) return false;
    *timeout_ms = std::llround(value->get<double>() * 1000);
    return true;
}

bool refuse(const char *path, int modem, const char *problem)
{
    fprintf(stderr, "lgsm: cannot use %s for modem %d: %s\n", path, modem, problem);
    return false;
}

bool read_entry(modem_config *config, const char *path, int modem)
{
    const config_file file = config_file__read(path);
    if (file.root.is_discarded()) return refuse(path, modem, file.problem.c_str());
    const json *const modems = config_file__member(&file.root, "modems");
    const json *const entry = config_file__member(modems, std::to_string(modem).c_str());
    if (!entry) return refuse(path, modem, "it has no entry under \"modems\"");
    if (!read_terminal(entry, &config->terminal)) return refuse(path, modem, "its entry has no \"terminal\"");
    if (!read_baud(entry, &config->speed)) return refuse(path, modem, "its \"baud\" is no usual rate");
    if (!read_timeout(entry, &config->timeout_ms))
        return refuse(path, modem, "its \"timeout\" is no number of seconds");
    return true;
}
} // namespace

bool modem_config__read(modem_config *config, int modem)
{
    const char *configured = getenv("LPA_MODEMS");
    const char *path = configured && *configured ? configured : default_path;
    try {
        return read_entry(config, path, modem);
    } catch (const std::bad_alloc &) { // callers are C programs
        return refuse(path, modem, "out of memory");
    }
}
