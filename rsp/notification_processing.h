/* rsp/notification_processing.h: delivers the card's pending notifications and removes the delivered ones. */
#pragma once
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* In a session of its own. Returns 0; 11 when a notification could not be delivered; an ES10 or session code. */
uint32_t process_notifications(const char *modem);

/* On a session that is already open. */
uint32_t process_notifications_unlocked(ModemHandle *handle, uint8_t channel);

LPA_API_END
