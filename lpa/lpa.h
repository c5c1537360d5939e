/* lpa/lpa.h: the library's public interface.
 *
 * Modem      every operation's first argument: "modem" and a number 0..4 ("modem" alone is modem0).
 * Document   *json: compact JSON text, *length: its length with the terminating zero. The caller releases it with
 *            M_free. length 0 means that there is no document.
 * Result     0 No error, 1 Fatal error, 4 Bad argument, 5 JSON parse error, 6 eSIM error (the eUICC refused a command),
 *            7 Not enough buffer, 8 No data, 9 No memory, 10 eSIM busy, 11 Connection failed, 12 Not enough free memory
 *            in the eUICC, 13 Profile installation failed due to authentication error, 14 Modem error, 15 SIM card
 *            error, 16 the eUICC carried the request out and reported a result of its own (the document holds it),
 *            17 the eUICC's ISD-R could not be reached, 18 Session cancelled.
 *            json_generator__process_error turns a code into a document.
 * Waiting    operations block: for the modem's lock, for card and network, and in pauses between attempts.
 * Threads    one thread at a time may call into the library. */
#pragma once
#include <stdint.h>
#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Reading. */
uint32_t LPA__get_eid(const char *modem, char **json, uint32_t *length);
uint32_t LPA__get_profiles(const char *modem, char **json, uint32_t *length);
uint32_t LPA__get_addresses(const char *modem, char **json, uint32_t *length);
uint32_t LPA__get_free_memory(const char *modem, char **json, uint32_t *length);
uint32_t LPA__get_notifications(const char *modem, char **json, uint32_t *length);

/* address: terminated text; null or empty removes the default SM-DP+ address. */
uint32_t LPA__set_smdp_address(const char *modem, const char *address, char **json, uint32_t *length);

/* iccid: 18 to 20 digits, beginning with 89. nickname: at most 64 bytes of UTF-8; null or empty removes it. */
uint32_t LPA__set_profile_nickname(const char *modem, const char *iccid, const char *nickname, char **json,
                                   uint32_t *length);

/* Profile states. Each reloads the modem, delivers the pending notifications and sends an update event. */
uint32_t LPA__enable_profile(const char *modem, const char *iccid, char **json, uint32_t *length);
uint32_t LPA__disable_profile(const char *modem, const char *iccid, char **json, uint32_t *length);
uint32_t LPA__delete_profile(const char *modem, const char *iccid, char **json, uint32_t *length);

/* Deletes every profile on the card and its default SM-DP+ address. No document: *json becomes null. */
uint32_t LPA__reset_memory(const char *modem, char **json, uint32_t *length);

/* Deletes every profile but the manufacturing and bootstrap ones. One that the card refuses to delete stays. */
uint32_t LPA__reset_settings(const char *modem);

/* Delivers the card's pending notifications. No document: *json becomes null, *length 0. */
uint32_t LPA__process_notifications(const char *modem, char **json, uint32_t *length);

/* Downloads and installs a profile.
 * activation_code    [LPA:]1$address$token[$oid[$flag]], at most 255 bytes
 * confirmation_code  null or empty when there is none */
uint32_t LPA__start_rsp(const char *modem, const char *activation_code, const char *confirmation_code, char **json,
                        uint32_t *length);

/* Suppresses the modem reloads that follow profile changes; reloads that recover a stuck card always run. */
uint32_t LPA__set_reload_disabled(uint8_t disabled);
uint8_t LPA__get_reload_disabled(void);

/* When set, LPA__start_rsp sends update event 7 instead of 0. */
uint32_t LPA__set_primary_profile(uint8_t primary);
uint8_t LPA__get_primary_profile(void);

/* Progress, for a host program that shows it. Results and what is done are the same with and without a callback. */
enum {
    /* A download's steps in this order. When the download is tried again they start over. */
    LPA_PROGRESS__OPENING = 0,        /* waiting for the modem, opening the card */
    LPA_PROGRESS__AUTHENTICATING = 1, /* card and server prove themselves to each other */
    LPA_PROGRESS__PREPARING = 2,      /* the card agrees to the profile; provider and name are known from here on */
    LPA_PROGRESS__FETCHING = 3,       /* the server is asked for the profile's package */
    LPA_PROGRESS__INSTALLING = 4,     /* bytes of the package that the card took, from 0 up to all of them */
    LPA_PROGRESS__REPORTING = 5,      /* the server is told what the card made of it */
    LPA_PROGRESS__DELIVERING = 6,     /* pending notifications, in every operation that delivers them, from 0 on;
                                       * counted when dealt with: delivered, or left on the card for another time */
    LPA_PROGRESS__DONE = 7            /* the last call of a download that returns 0, and only of such a one */
};

typedef struct lpa_progress {
    uint32_t step;        /* LPA_PROGRESS; ignore one that you do not know */
    uint32_t done, total; /* of INSTALLING and DELIVERING; done <= total; else 0 */
    const char *provider; /* the profile's service provider name and profile name, null where unknown; UTF-8 as the */
    const char *name;     /* server sends it, control characters included */
} lpa_progress;           /* later versions only add members at the end */

/* Called in the thread of the operation, at every step and at every block of a package that the card has taken.
 * *progress and its texts are valid only during the call. The callback returns soon, because card and server wait for
 * it, and calls nothing of the library. null: no callback, as at the start. Not while an operation runs. */
void LPA__set_progress_callback(void (*callback)(const lpa_progress *progress, void *context), void *context);

/* {"result":N,"description":"D"} for a result code. Returns 0, 1 or 9. */
uint32_t json_generator__process_error(uint32_t code, char **json);

void M_free(void *pointer);

/* SOCKS5 proxy (host:port) of every HTTPS request, null for none. The text stays the caller's. */
extern char *g_socks_proxy_address;

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
