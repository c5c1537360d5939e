/* platform/modem/modem_config.h: which terminal serves which modem. Internal to this folder.
 *
 * The file is /etc/lpa/modems.json, or the one that LPA_MODEMS names:
 *   {"modems": {"0": {"terminal": "/dev/ttyUSB2", "baud": 115200, "timeout": 60}}} */
#pragma once
#include <cstdint>
#include <string>
#include <termios.h>

struct modem_config {
    std::string terminal;
    speed_t speed = B115200;
    int64_t timeout_ms = 0; /* upper limit of an AT command; 0: the caller's alone */
};

/* Reads modem number's entry. False, with a message on standard error, when there is none that can be used. */
bool modem_config__read(modem_config *config, int modem);
