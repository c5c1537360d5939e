#include "platform/modem/modem_config.h"
#include "platform/config/json_file.h"
#include <stdio.h>
#include <stdlib.h>

namespace {
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

bool read_baud(json_value entry, speed_t *speed)
{
    const json_value value = json_file__member(entry, "baud");
    int64_t thousandths = 0;
    if (!value.begin) return true;
    return json_file__thousandths(value, &thousandths) && thousandths % 1000 == 0 &&
           find_speed(thousandths / 1000, speed);
}

bool read_timeout(json_value entry, int64_t *timeout_ms)
{
    const json_value value = json_file__member(entry, "timeout");
    return !value.begin || json_file__thousandths(value, timeout_ms);
}

bool refuse(const char *path, int modem, const char *problem)
{
    fprintf(stderr, "lgsm: cannot use %s for modem %d: %s\n", path, modem, problem);
    return false;
}
} // namespace

modem_config::~modem_config() { free(terminal); }

bool modem_config__read(modem_config *config, int modem)
{
    const char *configured = getenv("LPA_MODEMS");
    const char *path = configured && *configured ? configured : default_path;
    json_file file;
    const char *problem = nullptr;
    const json_value root = json_file__read(&file, path, &problem);
    if (!root.begin) return refuse(path, modem, problem);

    char name[12];
    snprintf(name, sizeof name, "%d", modem);
    const json_value entry = json_file__member(json_file__member(root, "modems"), name);
    if (!entry.begin) return refuse(path, modem, "it has no entry under \"modems\"");
    config->terminal = json_file__copy_text(json_file__member(entry, "terminal"));
    if (!config->terminal || !*config->terminal) return refuse(path, modem, "its entry has no \"terminal\"");
    if (!read_baud(entry, &config->speed)) return refuse(path, modem, "its \"baud\" is no usual rate");
    if (!read_timeout(entry, &config->timeout_ms))
        return refuse(path, modem, "its \"timeout\" is no number of seconds");
    return true;
}
