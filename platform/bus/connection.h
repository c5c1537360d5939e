/* platform/bus/connection.h: the socket to the broker. Internal to this folder.
 *
 * Every wait ends: a deadline is a time of the monotonic clock in milliseconds. A connection on which a message was
 * cut short, by its sender or by the deadline, is closed: there is no telling where the next one begins. */
#pragma once
#include "platform/bus/message.h"

/* For connecting, looking up and events, whose callers set no limit of their own. Milliseconds; tests shorten it. */
extern "C" __attribute__((visibility("default"))) int lpa_bus_timeout_ms;

int64_t connection__deadline(int timeout_ms);

/* 0 or a status; the socket is -1 after a failure. */
int connection__open(ubus_context *ctx, const char *path, int64_t deadline);
void connection__close(ubus_context *ctx);

/* Header and root are sent as one message of this type; peer is the object it concerns. */
int connection__send(ubus_context *ctx, uint8_t type, uint32_t peer, const blob_attr *root, int64_t deadline);

/* Whether something has come, be it the connection's end. */
bool connection__has_input(const ubus_context *ctx);

/* The next message of any kind. UBUS_STATUS_TIMEOUT with the socket still open: none came. */
int connection__receive(ubus_context *ctx, message *received, int64_t deadline);
