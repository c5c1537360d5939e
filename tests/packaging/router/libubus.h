/* The bus client's calls and the context, which is larger here than the desk's: plain C, in no extern "C". */
#ifndef LIBUBUS_H
#define LIBUBUS_H
#include "libubox/blobmsg.h"
#include "libubox/list.h"
#include <stdint.h>

struct ubus_context;
struct ubus_request;
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);

struct ubus_context {
    struct list_head requests;
    struct list_head pending;
    int sock;
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
#endif
