/* es9/https_transport.h: one HTTPS POST through libcurl.
 *
 * The server's certificate is not verified by TLS: the SM-DP+ is authenticated by the eUICC (SGP.22 mutual
 * authentication). A handle lives for one request. */
#pragma once
#include "foundation/export.h"
#include <curl/curl.h>
#include <stddef.h>
#include <stdint.h>

LPA_API_BEGIN

/* SOCKS5 proxy (host:port) of every request; null for none. Set by the host program, which keeps the text. */
extern char *g_socks_proxy_address;

typedef struct HttpBuffer {
    char *memory;  /* terminated after every append */
    size_t length; /* without the terminator */
} HttpBuffer;

CURL *HTTP_initialize(void);
int32_t HTTP_tls_setup(void);
int32_t HTTP_proxy_initialize(CURL *handle, const char *address);
void HTTP_set_target_url(CURL *handle, const char *url);
void HTTP_set_body(CURL *handle, const char *body); /* body must outlive the request */
struct curl_slist *HTTP_create_headers(void);
struct curl_slist *HTTP_add_headers(struct curl_slist *list, const char *line);
void HTTP_close_headers(CURL *handle, struct curl_slist *list);
void HTTP_set_read_callback(CURL *handle, HttpBuffer *buffer);
void HTTP_set_header_callback(CURL *handle, HttpBuffer *buffer);

/* Performs the request and releases the handle. Returns the HTTP status, or the negated libcurl code. */
int32_t HTTP_execute(CURL *handle);

/* libcurl write callback: appends to an HttpBuffer. Returns the bytes taken, 0 when memory runs out. */
size_t write_memory_callback(void *data, size_t size, size_t count, void *buffer);

/* POSTs body (null: a GET) to https:// fqdn path. *response: terminated text, released with M_free; null on failure.
 * Returns 0 whatever the HTTP status; 1 for a transport failure (status: the negated libcurl code), 4, 9. */
uint32_t network__send_https_request(const char *fqdn, const char *path, const char *body, int32_t *status,
                                     char **response);

/* 1 when the response header says "Executed-Success", else 0. */
uint8_t network_utils__function_execution_status_success(const char *json);

/* 1 for ssl.., wss.. and mqtts.., else 0. */
uint8_t network_utils__is_secure_protocol(const char *scheme);

LPA_API_END
