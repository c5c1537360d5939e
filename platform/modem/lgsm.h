/* lgsm.h: the modem library's call for AT commands.
 *
 * On a router this is the system's modem library; elsewhere platform/modem sends the command to a serial terminal. */
#pragma once
#include <libubus.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Sends one AT command (its CR LF included by the caller) to a numbered modem and waits for its final result code.
 * bus       the caller's bus connection; on a router the command travels over it
 * response  out: the modem's whole answer as text, allocated with malloc, released by the caller with free
 * modem     0..4
 * timeout   seconds
 * Returns 0 when the command was sent (whatever the modem answered), else a non-zero number and no response. */
int lgsm_exec(struct ubus_context *bus, const char *command, char **response, int modem, int timeout);

#ifdef __cplusplus
}
#endif
