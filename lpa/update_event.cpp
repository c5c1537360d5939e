#include "lpa/update_event.h"
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
extern "C" { // the bus's headers are plain C
#include <libubus.h>
}

namespace {
struct blob_buf message; // built and released by one call; one thread at a time

bool add_text(const char *name, const char *text)
{
    return blobmsg_add_field(&message, BLOBMSG_TYPE_STRING, name, text, static_cast<unsigned>(strlen(text) + 1)) == 0;
}

bool add_number(const char *name, uint32_t number)
{
    const uint32_t in_network_order = htonl(number);
    return blobmsg_add_field(&message, BLOBMSG_TYPE_INT32, name, &in_network_order, sizeof in_network_order) == 0;
}

bool build_message(uint32_t event, const char *modem, const char *iccid, uint32_t result)
{
    return blob_buf_init(&message, 0) == 0 && add_text("modem", modem) && add_number("event", event) &&
           add_number("state", result) && (!iccid || add_text("iccid", iccid));
}
} // namespace

void esim_notify_event(uint32_t event, const char *modem, const char *iccid, uint32_t result)
{
    struct ubus_context bus = {};
    if (ubus_connect_ctx(&bus, nullptr) != 0) return;
    char bus_modem[64];
    snprintf(bus_modem, sizeof bus_modem, "gsm.%s", modem ? modem : "");
    if (build_message(event, bus_modem, iccid, result)) ubus_send_event(&bus, "vorn.updates", message.head);
    blob_buf_free(&message);
    ubus_shutdown(&bus);
}
