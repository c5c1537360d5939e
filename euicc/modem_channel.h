/* euicc/modem_channel.h: opens, locks and reloads a modem.
 *
 * Lock       while a handle lives, the process holds an exclusive flock on /var/lock/vorn_modem_N.lock.
 * Threads    one at a time; the modem table and the saved signal handlers are not locked. */
#pragma once
#include "foundation/export.h"
#ifdef __cplusplus
extern "C" {
#endif
#include <libubus.h>
#ifdef __cplusplus
}
#endif
#include <stdint.h>

LPA_API_BEGIN

#define MODEM_COUNT 5

typedef struct ModemHandle {
    int32_t modem_number;     /* 0..4 */
    struct ubus_context ubus; /* the connection of every lgsm_exec call */
    int32_t lock_descriptor;  /* -1 when not locked */
    uint32_t logical_channel; /* on the eUICC; 0 when none, read as signed by the signal handler */
} ModemHandle;

/* name: "modem" and a number 0..4. Waits while another process holds the modem. Returns null on failure. */
ModemHandle *open_modem(const char *name);

/* Unlocks, disconnects and frees the handle. Returns 0. */
int32_t close_modem(ModemHandle *handle);

/* Return 0 or -2. */
int32_t do_lock(ModemHandle *handle);
int32_t do_unlock(ModemHandle *handle);

/* Creates or empties path through the bus's file service. Returns 0 or -1. */
int32_t create_file_with_ubus(const char *path);

/* Radio off and on, then waits for the SIM (up to about 31 s). Must not be called while this process holds a handle
 * of that modem. With force 0 nothing is done while reloads are disabled. Returns 0 (done or skipped) or 1. */
uint32_t reload_modem(const char *name, uint8_t force);

/* Suppresses reloads requested with force 0. Setting returns 0. */
uint32_t LPA__set_reload_disabled(uint8_t disabled);
uint8_t LPA__get_reload_disabled(void);

LPA_API_END
