/* foundation/configuration.h: the library's configuration file, /etc/vorn_config.json. Internal to foundation. */
#pragma once
#include <stdint.h>

#define CONFIGURATION_BYTES 512 /* of the text with its terminator */

/* Reads the whole file into text and terminates it. Returns 0; 1 when it cannot be opened or is too long, logged.
 * A file that opens but cannot be read is empty. */
uint32_t get_config_file(char text[CONFIGURATION_BYTES]);
