/* libubus.h: a client of the router's message bus, for machines that have no libubus of their own.
 *
 * The part of libubus's interface that the library and its programs use, over the bus's real wire format. */
#pragma once
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <stdint.h>

#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    UBUS_STATUS_NO_MEMORY,
    UBUS_STATUS_PARSE_ERROR,
    UBUS_STATUS_SYSTEM_ERROR,
};

struct ubus_context;

/* The call that an answer belongs to. */
struct ubus_request {
    struct ubus_context *ctx;
    uint32_t peer; /* the object called */
    void *priv;    /* as given to ubus_invoke_fd */
};

/* msg holds the answer's fields; it lies whole in memory, but its fields are as the other side sent them. */
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);

/* msg holds the event's fields, type is its name. */
struct ubus_event_handler;
typedef void (*ubus_event_handler_t)(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *type,
                                     struct blob_attr *msg);

struct ubus_object {
    uint32_t id; /* 0 before it is known to the broker */
};

/* Zero but for cb when it is registered; stays the caller's and lives as long as the connection. */
struct ubus_event_handler {
    struct ubus_object obj;
    ubus_event_handler_t cb;
    struct ubus_event_handler *next; /* of the same connection */
};

struct uloop_fd {
    int fd;
};

struct ubus_context {
    struct uloop_fd sock; /* -1 when there is no connection (any more) */
    uint16_t sequence;    /* of the last request */
    uint32_t peer;        /* the client id that the broker gave us */
    struct ubus_event_handler *event_handlers;
    void (*connection_lost)(struct ubus_context *ctx); /* called by ubus_handle_event; may be null */
};

/* path: the broker's socket, null for UBUS_UNIX_SOCKET. Returns 0 or a status. */
int ubus_connect_ctx(struct ubus_context *ctx, const char *path);
void ubus_shutdown(struct ubus_context *ctx);

/* The same with an allocated context; null when the connection fails. */
struct ubus_context *ubus_connect(const char *path);
void ubus_free(struct ubus_context *ctx);

/* Object id of path. Returns 0, or a status (4 not found). */
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);

/* Calls a method and waits for its status, at most timeout ms (10 s when timeout is 0). cb (may be null) is given each
 * answer's data; msg may be null; fd is -1. Returns 0 or a status. */
int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd);

/* Broadcasts an event. Returns 0 or a status. */
int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data);

/* From now on events whose name fits pattern ("name" or "prefix*") are handed to ev->cb, by ubus_handle_event. Returns
 * 0 or a status. */
int ubus_register_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *pattern);

/* Takes what has come; for callers that wait for ctx->sock.fd themselves. */
void ubus_handle_event(struct ubus_context *ctx);
