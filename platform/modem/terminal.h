/* platform/modem/terminal.h: a serial terminal, held exclusively while it is open. Internal to this folder. */
#pragma once
#include <stdint.h>
#include <termios.h>

enum terminal_result {
    TERMINAL_OK,
    TERMINAL_ABSENT,  /* not there at present; may come (back) */
    TERMINAL_REFUSED, /* there, but not to be used; a message told why on standard error */
};

/* Opens path raw, 8N1, with nothing of an earlier answer left in it; *descriptor is non-blocking. */
terminal_result terminal__open(const char *path, speed_t speed, int *descriptor);

void terminal__close(int descriptor);
