/* es9/es9_json_generator.h: bodies of ES9+ requests. *json: terminated text, released with M_free; null on failure.
 * Errors: 0; 4 missing input, 1 encoding failure, 9 no memory. */
#pragma once
#include "foundation/export.h"
#include "tlv/transaction_id.h"
#include <stdint.h>

LPA_API_BEGIN

uint32_t es9_json_generator__initiate_authentication_request(const char *smdp_address,
                                                             const uint8_t euicc_challenge[16],
                                                             const uint8_t *euicc_info_1, uint32_t euicc_info_1_length,
                                                             char **json);

/* transaction_id: hex text, copied as it is. */
uint32_t es9_json_generator__authenticate_client_request(const char *transaction_id,
                                                         const uint8_t *authenticate_server_response, uint32_t length,
                                                         char **json);
uint32_t es9_json_generator__get_bound_profile_package_request(const TransactionId *transaction_id,
                                                               const uint8_t *prepare_download_response,
                                                               uint32_t length, char **json);
uint32_t es9_json_generator__handle_notification_request(const uint8_t *pending_notification, uint32_t length,
                                                         char **json);
uint32_t es9_json_generator__cancel_session_request(const TransactionId *transaction_id,
                                                    const uint8_t *cancel_session_response, uint32_t length,
                                                    char **json);

LPA_API_END
