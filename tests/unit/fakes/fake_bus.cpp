#include "unit/fakes/fake_bus.h"
#include <fcntl.h>
#include <map>
#include <unistd.h>
extern "C" {
#include <libubus.h>
}

fake_bus_type fake_bus;

namespace {
constexpr uint32_t file_object = 7;
// One message is built at a time for each buffer; its address tells them apart.
std::map<const blob_buf *, std::vector<fake_bus_type::field>> messages;

const std::vector<fake_bus_type::field> &message_of(const blob_attr *head)
{
    for (const auto &[buffer, fields] : messages)
        if (buffer->head == head) return fields;
    static const std::vector<fake_bus_type::field> none;
    return none;
}
} // namespace

extern "C" {
int ubus_connect_ctx(struct ubus_context *ctx, const char *)
{
    if (!fake_bus.connects || fake_bus.connections_left == 0) return UBUS_STATUS_CONNECTION_FAILED;
    if (fake_bus.connections_left > 0) --fake_bus.connections_left;
    *ctx = {};
    ++fake_bus.open_connections;
    return 0;
}

void ubus_shutdown(struct ubus_context *) { --fake_bus.open_connections; }

struct ubus_context *ubus_connect(const char *path)
{
    auto *ctx = new ubus_context{};
    if (ubus_connect_ctx(ctx, path) == 0) return ctx;
    delete ctx;
    return nullptr;
}

void ubus_free(struct ubus_context *ctx)
{
    ubus_shutdown(ctx);
    delete ctx;
}

int ubus_lookup_id(struct ubus_context *, const char *path, uint32_t *id)
{
    if (!fake_bus.has_file_object || std::string(path) != "file") return UBUS_STATUS_NOT_FOUND;
    *id = file_object;
    return 0;
}

int ubus_invoke_fd(struct ubus_context *, uint32_t obj, const char *method, struct blob_attr *msg, ubus_data_handler_t,
                   void *, int timeout, int)
{
    const auto &fields = message_of(msg);
    fake_bus.calls.push_back({method, fields, timeout});
    if (obj != file_object || !fake_bus.writes_files) return UBUS_STATUS_PERMISSION_DENIED;
    for (const auto &field : fields) {
        if (field.name != "path") continue;
        const int descriptor = open(field.data.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
        if (descriptor >= 0) close(descriptor);
    }
    return 0;
}

int ubus_send_event(struct ubus_context *, const char *id, struct blob_attr *data)
{
    fake_bus.events.emplace_back(id, message_of(data));
    return 0;
}

int blob_buf_init(struct blob_buf *buf, int)
{
    if (!fake_bus.builds_messages) return -1;
    if (!buf->head) {
        buf->head = new blob_attr{};
        ++fake_bus.unfreed_messages;
    }
    messages[buf].clear();
    return 0;
}

int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len)
{
    messages[buf].push_back({type, name, std::string(static_cast<const char *>(data), len)});
    return 0;
}

void blob_buf_free(struct blob_buf *buf)
{
    if (buf->head) --fake_bus.unfreed_messages;
    delete buf->head;
    buf->head = nullptr;
    messages.erase(buf);
}
}
