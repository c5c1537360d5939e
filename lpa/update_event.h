/* lpa/update_event.h: tells the device's other services that the eUICC's content may have changed. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

enum {
    UPDATE_EVENT__DOWNLOAD = 0,
    UPDATE_EVENT__ENABLE = 1,
    UPDATE_EVENT__DISABLE = 2,
    UPDATE_EVENT__DELETE = 3,
    UPDATE_EVENT__NOTIFICATIONS = 4,
    UPDATE_EVENT__NICKNAME = 5,
    UPDATE_EVENT__RESET_MEMORY = 6,
    UPDATE_EVENT__DOWNLOAD_PRIMARY = 7,
};

/* Broadcasts "vorn.updates" with modem ("gsm." + name), event, state (the result code) and, unless null, iccid.
 * A bus that cannot be reached is ignored. */
void esim_notify_event(uint32_t event, const char *modem, const char *iccid, uint32_t result);

LPA_API_END
