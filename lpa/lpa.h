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

/* iccid: 18 to 20 digits. nickname: at most 64 bytes of UTF-8; null or empty removes it. */
uint32_t LPA__set_profile_nickname(const char *modem, const char *iccid, const char *nickname, char **json,
                                   uint32_t *length);

/* Profile states. Each reloads the modem, delivers the pending notifications and sends an update event. */
uint32_t LPA__enable_profile(const char *modem, const char *iccid, char **json, uint32_t *length);
uint32_t LPA__disable_profile(const char *modem, const char *iccid, char **json, uint32_t *length);
uint32_t LPA__delete_profile(const char *modem, const char *iccid, char **json, uint32_t *length);

/* Deletes every profile on the card and its default SM-DP+ address. No document: *json becomes null. */
uint32_t LPA__reset_memory(const char *modem, char **json, uint32_t *length);

/* Deletes every profile but the manufacturing and bootstrap ones. */
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

/* {"result":N,"description":"D"} for a result code. Returns 0, 1 or 9. */
uint32_t json_generator__process_error(uint32_t code, char **json);

void M_free(void *pointer);

/* SOCKS5 proxy (host:port) of every HTTPS request, null for none. The text stays the caller's. */
extern char *g_socks_proxy_address;

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
