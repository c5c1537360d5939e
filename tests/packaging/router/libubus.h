/* The bus client's calls and the context, which is larger here than the desk's: plain C, in no extern "C". */
#ifndef LIBUBUS_H
#define LIBUBUS_H
#include "libubox/blobmsg.h"
#include "libubox/list.h"
#include "libubox/uloop.h"
#include <stdint.h>

struct ubus_context;
struct ubus_request;
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);

struct ubus_event_handler;
typedef void (*ubus_event_handler_t)(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *type,
                                     struct blob_attr *msg);

struct ubus_object {
    struct list_head list;
    uint32_t id;
    const char *name;
    const char *path;
};

struct ubus_event_handler {
    struct ubus_object obj;
    ubus_event_handler_t cb;
};

struct ubus_context {
    struct list_head requests;
    struct list_head pending;
    struct uloop_fd sock;
    uint32_t local_id;
    uint16_t request_seq;
    int stack_depth;
    void (*connection_lost)(struct ubus_context *ctx);
    struct blob_buf buf;
};

struct ubus_context *ubus_connect(const char *path);
int ubus_connect_ctx(struct ubus_context *ctx, const char *path);
void ubus_shutdown(struct ubus_context *ctx);
void ubus_free(struct ubus_context *ctx);
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);
int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd);
int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data);
int ubus_register_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *pattern);

static inline void ubus_handle_event(struct ubus_context *ctx) { ctx->sock.cb(&ctx->sock, ULOOP_READ); }
#endif
