/* tlv/transaction_id.h: the identifier of one RSP session, as card and server exchange it. */
#pragma once
#include <stdint.h>

#define TRANSACTION_ID_MAX_BYTES 16

typedef struct TransactionId {
    uint8_t value[TRANSACTION_ID_MAX_BYTES];
    uint8_t length; /* 1..16 */
} TransactionId;
