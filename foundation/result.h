/* foundation/result.h: the result codes that every operation shares.
 *
 * Status operations return one of them; size-or-error operations return it negated. The descriptions that callers see
 * are json_generator__process_error's. */
#pragma once

enum {
    RESULT__OK = 0,
    RESULT__FATAL_ERROR = 1,
    RESULT__NOT_SUPPORTED = 2,
    RESULT__NOT_IMPLEMENTED = 3,
    RESULT__BAD_ARGUMENT = 4,
    RESULT__JSON_PARSE_ERROR = 5,
    RESULT__ESIM_ERROR = 6, /* the eUICC refused a command */
    RESULT__NOT_ENOUGH_BUFFER = 7,
    RESULT__NO_DATA = 8,
    RESULT__NO_MEMORY = 9,
    RESULT__ESIM_BUSY = 10,
    RESULT__CONNECTION_FAILED = 11,
    RESULT__NOT_ENOUGH_EUICC_MEMORY = 12,
    RESULT__AUTHENTICATION_ERROR = 13, /* the SM-DP+ answered AuthenticateClient with "Failed" */
    RESULT__MODEM_ERROR = 14,          /* the AT command could not be sent */
    RESULT__SIM_CARD_ERROR = 15,       /* the modem answered ERROR twice */
    RESULT__EUICC_RESULT = 16,         /* the request was carried out; the eUICC's own result is not "ok" */
    RESULT__ISDR_UNREACHABLE = 17,     /* the channel is open, the ISD-R could not be selected */
    RESULT__SESSION_CANCELLED = 18,    /* no logical channel, or the card answered 6985 */
};
