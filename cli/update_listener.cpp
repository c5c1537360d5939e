#include "cli/update_listener.h"
#include <array>
#include <cerrno>
#include <poll.h>
extern "C" { // the bus's headers are plain C
#include <libubus.h>
}

namespace {

enum { FIELD_MODEM, FIELD_EVENT, FIELD_STATE, FIELD_ICCID, FIELD_COUNT };

// The handler comes first: the bus hands its address back.
struct listener {
    ubus_event_handler handler = {};
    const std::function<bool(const update_event &)> *take = nullptr;
    bool goes_on = true;
};

bool is_connected; // the context has no room for anything of the caller's

std::string text_of(blob_attr *field)
{
    const char *text = blobmsg_get_string(field);
    return text ? text : "";
}

// Fields that are missing or of another type: not an event of the library's.
bool read_event(update_event &event, blob_attr *message)
{
    blobmsg_policy policy[FIELD_COUNT] = {};
    policy[FIELD_MODEM] = {"modem", BLOBMSG_TYPE_STRING};
    policy[FIELD_EVENT] = {"event", BLOBMSG_TYPE_INT32};
    policy[FIELD_STATE] = {"state", BLOBMSG_TYPE_INT32};
    policy[FIELD_ICCID] = {"iccid", BLOBMSG_TYPE_STRING};
    std::array<blob_attr *, FIELD_COUNT> fields = {};
    const auto length = static_cast<unsigned>(blob_len(message));
    if (blobmsg_parse(policy, FIELD_COUNT, fields.data(), blob_data(message), length) != 0) return false;
    if (!fields[FIELD_MODEM] || !fields[FIELD_EVENT] || !fields[FIELD_STATE]) return false;
    event = {text_of(fields[FIELD_MODEM]), blobmsg_get_u32(fields[FIELD_EVENT]), blobmsg_get_u32(fields[FIELD_STATE]),
             text_of(fields[FIELD_ICCID])};
    return true;
}

void take_event(ubus_context *, ubus_event_handler *handler, const char *, blob_attr *message)
{
    auto *const self = reinterpret_cast<listener *>(handler);
    update_event event;
    if (self->goes_on && read_event(event, message)) self->goes_on = (*self->take)(event);
}

void note_loss(ubus_context *) { is_connected = false; }

bool wait_for_input(int descriptor)
{
    pollfd waited = {.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&waited, 1, -1) == 1 || errno == EINTR;
}

bool listen_on(ubus_context &bus, listener &self, const std::function<void()> &ready)
{
    self.handler.cb = take_event;
    bus.connection_lost = note_loss;
    is_connected = true;
    if (ubus_register_event_handler(&bus, &self.handler, "vorn.updates") != 0) return false;
    ready();
    while (self.goes_on && is_connected && wait_for_input(bus.sock.fd))
        ubus_handle_event(&bus);
    return !self.goes_on;
}

} // namespace

bool listen_to_updates(const std::function<void()> &ready, const std::function<bool(const update_event &)> &take)
{
    ubus_context bus = {};
    if (ubus_connect_ctx(&bus, nullptr) != 0) return false;
    listener self;
    self.take = &take;
    const bool listened = listen_on(bus, self, ready);
    ubus_shutdown(&bus);
    return listened;
}
