#include "libubus.h"

struct ubus_context *ubus_connect(const char *path) { return NULL; }
int ubus_connect_ctx(struct ubus_context *ctx, const char *path) { return 1; }
void ubus_shutdown(struct ubus_context *ctx) {}
void ubus_free(struct ubus_context *ctx) {}
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id) { return 4; }
int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd)
{
    return 4;
}
int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data) { return 0; }
int ubus_register_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *pattern)
{
    return 4;
}
