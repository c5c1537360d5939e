#include "platform/bus/connection.h"
#include <stdlib.h>

namespace {
constexpr uint32_t event_object = 1; // the broker's own
constexpr int highest_status = UBUS_STATUS_SYSTEM_ERROR;

// Given each answer to a request.
struct answer_reader {
    void (*read)(void *context, blob_attr *root);
    void *context;
};

struct invocation {
    ubus_data_handler_t callback;
    ubus_request request;
};

// Lives as long as its scope.
struct building_message {
    blob_buf buf = {};
    building_message() = default;
    building_message(const building_message &) = delete;
    building_message &operator=(const building_message &) = delete;
    ~building_message() { blob_buf_free(&buf); }
};

int status_of(blob_attr *root)
{
    uint32_t status = 0;
    if (!message__find_uint32(root, ATTRIBUTE_STATUS, &status)) return UBUS_STATUS_PARSE_ERROR;
    return status > highest_status ? static_cast<int>(UBUS_STATUS_UNKNOWN_ERROR) : static_cast<int>(status);
}

// Answers that come until the status; those to earlier requests, and what other clients want of us, are passed over.
int collect_answers(ubus_context *ctx, answer_reader reader, int64_t deadline)
{
    for (;;) {
        message answer;
        if (const int rc = connection__receive(ctx, &answer, deadline); rc != UBUS_STATUS_OK) return rc;
        if (answer.sequence != ctx->sequence) continue;
        if (answer.type == MESSAGE_STATUS) return status_of(answer.root);
        if (answer.type == MESSAGE_DATA && reader.read) reader.read(reader.context, answer.root);
        // A broker that never stops answering is left at the deadline too.
        if (connection__deadline(0) >= deadline) return UBUS_STATUS_TIMEOUT;
    }
}

int send_request(ubus_context *ctx, uint8_t type, uint32_t object, const blob_attr *root, answer_reader reader,
                 int timeout_ms)
{
    const int64_t deadline = connection__deadline(timeout_ms);
    const int rc = connection__send(ctx, type, object, root, deadline);
    return rc != UBUS_STATUS_OK ? rc : collect_answers(ctx, reader, deadline);
}

// Of a lookup or of an object that was added.
void read_object_id(void *id, blob_attr *root)
{
    message__find_uint32(root, ATTRIBUTE_OBJID, static_cast<uint32_t *>(id));
}

const char *text_of(blob_attr *attribute)
{
    const uint32_t size = attribute ? message__value_bytes(attribute) : 0;
    return size > 0 && attribute->data[size - 1] == 0 ? attribute->data : nullptr;
}

// An event comes as a call of the listening object's method with the event's name.
void hand_event_over(ubus_context *ctx, blob_attr *root)
{
    uint32_t object = 0;
    const char *name = text_of(message__find(root, ATTRIBUTE_METHOD));
    blob_attr *data = message__find(root, ATTRIBUTE_DATA);
    if (!name || !data || !message__find_uint32(root, ATTRIBUTE_OBJID, &object)) return;
    for (ubus_event_handler *handler = ctx->event_handlers; handler; handler = handler->next)
        if (handler->obj.id == object) handler->cb(ctx, handler, name, data);
}

void hand_data_to_callback(void *context, blob_attr *root)
{
    auto *called = static_cast<invocation *>(context);
    blob_attr *data = message__find(root, ATTRIBUTE_DATA);
    if (data && called->callback) called->callback(&called->request, MESSAGE_DATA, data);
}

// msg may be null for a method without arguments.
bool build_invoke(blob_buf *buf, uint32_t object, const char *method, const blob_attr *msg)
{
    return blob_buf_init(buf, 0) == 0 && message__add_uint32(buf, ATTRIBUTE_OBJID, object) == 0 &&
           message__add_text(buf, ATTRIBUTE_METHOD, method) == 0 &&
           message__add(buf, ATTRIBUTE_DATA, msg ? msg->data : nullptr, msg ? message__value_bytes(msg) : 0) == 0;
}
} // namespace

int ubus_connect_ctx(struct ubus_context *ctx, const char *path)
{
    return connection__open(ctx, path ? path : UBUS_UNIX_SOCKET, connection__deadline(lpa_bus_timeout_ms));
}

void ubus_shutdown(struct ubus_context *ctx)
{
    if (ctx) connection__close(ctx);
}

struct ubus_context *ubus_connect(const char *path)
{
    auto *ctx = static_cast<ubus_context *>(malloc(sizeof(ubus_context)));
    if (!ctx) return nullptr;
    if (ubus_connect_ctx(ctx, path) == UBUS_STATUS_OK) return ctx;
    free(ctx);
    return nullptr;
}

void ubus_free(struct ubus_context *ctx)
{
    ubus_shutdown(ctx);
    free(ctx);
}

int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id)
{
    building_message query;
    if (blob_buf_init(&query.buf, 0) != 0 || message__add_text(&query.buf, ATTRIBUTE_OBJPATH, path) != 0)
        return UBUS_STATUS_NO_MEMORY;
    uint32_t found = 0; // no object has this id
    const int rc = send_request(ctx, MESSAGE_LOOKUP, 0, query.buf.head, {read_object_id, &found}, lpa_bus_timeout_ms);
    if (rc != UBUS_STATUS_OK) return rc;
    if (found == 0) return UBUS_STATUS_NOT_FOUND;
    *id = found;
    return UBUS_STATUS_OK;
}

int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd)
{
    if (fd >= 0) return UBUS_STATUS_NOT_SUPPORTED;
    building_message call;
    if (!build_invoke(&call.buf, obj, method, msg)) return UBUS_STATUS_NO_MEMORY;
    invocation called = {cb, {.ctx = ctx, .peer = obj, .priv = priv}};
    return send_request(ctx, MESSAGE_INVOKE, obj, call.buf.head, {hand_data_to_callback, &called},
                        timeout > 0 ? timeout : lpa_bus_timeout_ms);
}

int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data)
{
    building_message arguments;
    const auto id_size = static_cast<unsigned>(__builtin_strlen(id) + 1);
    if (blob_buf_init(&arguments.buf, 0) != 0 ||
        blobmsg_add_field(&arguments.buf, BLOBMSG_TYPE_STRING, "id", id, id_size) != 0 ||
        blobmsg_add_field(&arguments.buf, BLOBMSG_TYPE_TABLE, "data", data->data, message__value_bytes(data)) != 0)
        return UBUS_STATUS_NO_MEMORY;
    return ubus_invoke_fd(ctx, event_object, "send", arguments.buf.head, nullptr, nullptr, 0, -1);
}

namespace {
// An object without a name, for the broker to call.
int add_object(ubus_context *ctx, ubus_object *object)
{
    building_message empty;
    if (blob_buf_init(&empty.buf, 0) != 0) return UBUS_STATUS_NO_MEMORY;
    const int rc =
        send_request(ctx, MESSAGE_ADD_OBJECT, 0, empty.buf.head, {read_object_id, &object->id}, lpa_bus_timeout_ms);
    return rc == UBUS_STATUS_OK && object->id == 0 ? static_cast<int>(UBUS_STATUS_NO_DATA) : rc;
}
} // namespace

int ubus_register_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *pattern)
{
    if (const int rc = add_object(ctx, &ev->obj); rc != UBUS_STATUS_OK) return rc;
    uint8_t id[4];
    message__write_uint32(id, ev->obj.id);
    building_message arguments;
    if (blob_buf_init(&arguments.buf, 0) != 0 ||
        blobmsg_add_field(&arguments.buf, BLOBMSG_TYPE_INT32, "object", id, sizeof id) != 0 ||
        blobmsg_add_field(&arguments.buf, BLOBMSG_TYPE_STRING, "pattern", pattern,
                          static_cast<unsigned>(__builtin_strlen(pattern) + 1)) != 0)
        return UBUS_STATUS_NO_MEMORY;
    const int rc = ubus_invoke_fd(ctx, event_object, "register", arguments.buf.head, nullptr, nullptr, 0, -1);
    if (rc != UBUS_STATUS_OK) return rc;
    ev->next = ctx->event_handlers;
    ctx->event_handlers = ev;
    return UBUS_STATUS_OK;
}

void ubus_handle_event(struct ubus_context *ctx)
{
    while (connection__has_input(ctx)) {
        message received;
        const int64_t deadline = connection__deadline(lpa_bus_timeout_ms);
        if (connection__receive(ctx, &received, deadline) != UBUS_STATUS_OK) {
            if (ctx->connection_lost) ctx->connection_lost(ctx);
            return;
        }
        if (received.type == MESSAGE_INVOKE) hand_event_over(ctx, received.root);
    }
}
