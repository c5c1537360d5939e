#include "es9/https_transport.h"
#include "es9/json_data_extractor.h"
#include "es9/printed_text.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include <stdio.h>
#include <string.h>

char *g_socks_proxy_address = nullptr;

namespace {
constexpr long connect_timeout_seconds = 10;
constexpr long total_timeout_seconds = 20;

// An answer that never ends would take all memory of the router. The largest honest answer, a Bound Profile Package
// in base64, stays far below this.
constexpr size_t response_max_bytes = size_t{32} * 1024 * 1024;

struct header_list {
    curl_slist *lines = HTTP_create_headers();
    header_list() = default;
    header_list(const header_list &) = delete;
    header_list &operator=(const header_list &) = delete;
    ~header_list() { curl_slist_free_all(lines); }
    void add(const char *line)
    {
        curl_slist *longer = HTTP_add_headers(lines, line);
        if (longer) lines = longer; // a line that cannot be added is left out, those before it are kept
    }
};

struct handle_guard {
    CURL *handle;
    explicit handle_guard(CURL *open_handle) : handle(open_handle) {}
    handle_guard(const handle_guard &) = delete;
    handle_guard &operator=(const handle_guard &) = delete;
    ~handle_guard() { curl_easy_cleanup(handle); }
};

void log_perform_failure(CURLcode code, char *error)
{
    const size_t length = strlen(error);
    if (length == 0) {
        log__string(LOG__ERROR, "[HTTP_execute] curl_easy_perform failed: %s(%d)", curl_easy_strerror(code), code);
        return;
    }
    if (error[length - 1] == '\n') error[length - 1] = 0;
    log__string(LOG__ERROR, "[HTTP_execute] curl_easy_perform failed: %s", error);
}

// What HTTP_execute answers for CURLE_PROXY: the outcome of asking for the detail, so 0 when the detail is known.
int32_t proxy_failure(CURL *handle, bool is_reported)
{
    long detail = 0;
    const CURLcode code = curl_easy_getinfo(handle, CURLINFO_PROXY_ERROR, &detail);
    if (!is_reported && detail != 0) log__string(LOG__ERROR, "[HTTP_execute] The detailed proxy error: %ld", detail);
    return -static_cast<int32_t>(code);
}

uint32_t make_url(const char *fqdn, const char *path, owned_text &url)
{
    const size_t size = strlen(fqdn) + strlen(path) + sizeof "https://";
    url.reset(static_cast<char *>(M_malloc(size)));
    if (!url.data) {
        log__string(LOG__ERROR, "[network__send_https_request] Can't allocate memory to url");
        return RESULT__NO_MEMORY;
    }
    snprintf(url.data, size, "https://%s%s", fqdn, path);
    log__string(LOG__DEBUG, "[network__send_https_request] url [%s]", url.data);
    return RESULT__OK;
}

uint32_t make_content_length_header(uint32_t body_length, owned_text &header)
{
    static constexpr print_messages messages = {
        .bad_length = "[network__send_https_request] Bad length of the content length header",
        .no_memory = "[network__send_https_request] Can't allocate data to content_length_header",
        .not_printed = "[network__send_https_request] Can't add data inside the content_length_header",
    };
    return printed_text__print(&header.data, messages, "Content-Length: %u", body_length);
}

int32_t perform(CURL *handle, const char *url, const char *body, const char *content_length, HttpBuffer *response)
{
    log__string(LOG__DEBUG, "[network__send_https_request] HTTP client initialized");
    log__string(LOG__DEBUG, "[network__send_https_request] Setting target URL to %s", url);
    HTTP_set_target_url(handle, url);
    if (g_socks_proxy_address) {
        // At error level so that a proxy shows in every log, whatever its level.
        log__string(LOG__ERROR, "[network__send_https_request] Proxy set to %s", g_socks_proxy_address);
        HTTP_proxy_initialize(handle, g_socks_proxy_address);
    }
    if (body && *body) {
        log__string(LOG__DEBUG, "[network__send_https_request] Setting request body to %s", body);
        HTTP_set_body(handle, body);
    }
    header_list headers;
    headers.add("User-Agent: gsma-rsp-lpad");
    headers.add("X-Admin-Protocol: gsma/rsp/2.2.0");
    headers.add("Content-Type: application/json");
    headers.add(content_length);
    HTTP_set_read_callback(handle, response);
    HTTP_close_headers(handle, headers.lines);
    return HTTP_execute(handle);
}

// Copies of nested objects: the scanners search a whole text, so each level is looked for in a text of its own.
uint32_t copy_status(const char *json, owned_text &status)
{
    owned_text header;
    uint32_t rc = json_data_extractor__get_object_value_copy(json, "header", &header.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[network_utils__function_execution_status_success] Can't extract header object in json, rc %d",
                    rc);
        return rc;
    }
    owned_text execution_status;
    rc = json_data_extractor__get_object_value_copy(header.data, "functionExecutionStatus", &execution_status.data);
    if (rc == RESULT__OK)
        rc = json_data_extractor__get_string_value_copy(execution_status.data, "status", &status.data);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[network_utils__function_execution_status_success] Can't extract functionExecutionStatus object in json, rc %d",
            rc);
    return rc;
}
} // namespace

CURL *HTTP_initialize(void)
{
    curl_global_init(CURL_GLOBAL_ALL);
    return curl_easy_init();
}

int32_t HTTP_tls_setup(void) { return 0; }

int32_t HTTP_proxy_initialize(CURL *handle, const char *address)
{
    CURLcode rc = curl_easy_setopt(handle, CURLOPT_PROXY, address);
    if (rc == CURLE_OK) log__string(LOG__DEBUG, "[HTTP_proxy_initialize] Proxy initialized to %s", address);
    else log__string(LOG__ERROR, "[HTTP_proxy_initialize] curl_easy_setopt failed, rc %d", rc);
    // The proxy resolves host names: behind it the router often has no DNS of its own.
    rc = curl_easy_setopt(handle, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS5_HOSTNAME));
    if (rc == CURLE_OK) log__string(LOG__DEBUG, "[HTTP_proxy_initialize] Proxy type set to SOCKS5");
    else log__string(LOG__ERROR, "[HTTP_proxy_initialize] curl_easy_setopt proxy type failed, rc %d", rc);
    return 0;
}

void HTTP_set_target_url(CURL *handle, const char *url)
{
    const CURLcode rc = curl_easy_setopt(handle, CURLOPT_URL, url);
    if (rc != CURLE_OK) log__string(LOG__ERROR, "[HTTP_set_target_url] curl_easy_setopt failed, rc %d", rc);
}

void HTTP_set_body(CURL *handle, const char *body)
{
    const CURLcode rc = curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body);
    if (rc != CURLE_OK) log__string(LOG__ERROR, "[HTTP_set_body] curl_easy_setopt, rc %d", rc);
}

struct curl_slist *HTTP_create_headers(void) { return nullptr; }

struct curl_slist *HTTP_add_headers(struct curl_slist *list, const char *line)
{
    curl_slist *longer = curl_slist_append(list, line);
    if (!longer) log__string(LOG__WARN, "[HTTP_add_headers] Something went wrong adding a header");
    return longer;
}

void HTTP_close_headers(CURL *handle, struct curl_slist *list)
{
    const CURLcode rc = curl_easy_setopt(handle, CURLOPT_HTTPHEADER, list);
    if (rc != CURLE_OK) log__string(LOG__ERROR, "[HTTP_close_headers] curl_easy_setopt failed, rc %d", rc);
}

void HTTP_set_read_callback(CURL *handle, HttpBuffer *buffer)
{
    const CURLcode function_rc = curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, write_memory_callback);
    const CURLcode data_rc = curl_easy_setopt(handle, CURLOPT_WRITEDATA, buffer);
    if (function_rc != CURLE_OK || data_rc != CURLE_OK)
        log__string(LOG__ERROR, "[HTTP_set_read_callback] curl_easy_setopt failed, rc [%d, %d]", function_rc, data_rc);
}

void HTTP_set_header_callback(CURL *handle, HttpBuffer *buffer)
{
    const CURLcode function_rc = curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, write_memory_callback);
    const CURLcode data_rc = curl_easy_setopt(handle, CURLOPT_HEADERDATA, buffer);
    if (function_rc != CURLE_OK || data_rc != CURLE_OK)
        log__string(LOG__ERROR, "[HTTP_set_header_callback] curl_easy_setopt failed, rc [%d, %d]", function_rc,
                    data_rc);
}

int32_t HTTP_execute(CURL *handle)
{
    char error[CURL_ERROR_SIZE]; // before the guard: libcurl may still write to it while the handle is released
    error[0] = 0;
    const handle_guard guard(handle);
    // On purpose: the SM-DP+ proves itself to the eUICC, whose GSMA root certificates a router's TLS does not know.
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, connect_timeout_seconds);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, total_timeout_seconds);

    const CURLcode performed = curl_easy_perform(handle);
    if (performed != CURLE_OK) {
        const bool is_reported = error[0] != 0;
        log_perform_failure(performed, error);
        if (performed == CURLE_PROXY) return proxy_failure(handle, is_reported);
        return -static_cast<int32_t>(performed);
    }
    long status = 0;
    const CURLcode rc = curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (rc != CURLE_OK) {
        log__string(LOG__ERROR, "[HTTP_execute] curl_easy_getinfo failed, rc %d", rc);
        return -static_cast<int32_t>(rc);
    }
    return static_cast<int32_t>(status);
}

size_t write_memory_callback(void *data, size_t size, size_t count, void *buffer)
{
    auto *response = static_cast<HttpBuffer *>(buffer);
    size_t added = 0;
    char *grown = nullptr;
    const bool fits = !__builtin_mul_overflow(size, count, &added) && response->length < response_max_bytes &&
                      added < response_max_bytes - response->length;
    if (fits) grown = static_cast<char *>(M_realloc(response->memory, response->length + added + 1));
    if (!grown) {
        log__string(LOG__ERROR, "[write_memory_callback] Memory error when realloc ptr");
        return 0; // libcurl then ends the transfer with a write error
    }
    response->memory = grown;
    if (added > 0) memcpy(response->memory + response->length, data, added);
    response->length += added;
    response->memory[response->length] = 0;
    return added;
}

uint32_t network__send_https_request(const char *fqdn, const char *path, const char *body, int32_t *status,
                                     char **response)
{
    *response = nullptr;
    if (!fqdn || !path) {
        log__string(LOG__ERROR, "[network__send_https_request] fqdn, path is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    owned_text url;
    uint32_t rc = make_url(fqdn, path, url);
    if (rc != RESULT__OK) return rc;
    owned_text content_length;
    rc = make_content_length_header(body ? static_cast<uint32_t>(strlen(body)) : 0, content_length);
    if (rc != RESULT__OK) return rc;

    HttpBuffer received = {static_cast<char *>(M_malloc(1)), 0};
    if (!received.memory) {
        log__string(LOG__ERROR, "[network__send_https_request] Can't allocate data to response_buffer.memory");
        return RESULT__NO_MEMORY;
    }
    received.memory[0] = 0;
    CURL *handle = HTTP_initialize();
    if (!handle) {
        log__string(LOG__ERROR, "[network__send_https_request] HTTP_initialize failed");
        M_free(received.memory);
        return RESULT__FATAL_ERROR;
    }
    *status = perform(handle, url.data, body, content_length.data, &received);
    if (*status < 0) {
        M_free(received.memory);
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__INFO, "HTTP response status code %ld", static_cast<long>(*status));
    log__string(LOG__DEBUG, "[network__send_https_request] response  %s", received.memory);
    *response = received.memory;
    return RESULT__OK;
}

uint8_t network_utils__function_execution_status_success(const char *json)
{
    if (!json) {
        log__string(LOG__ERROR, "[network_utils__function_execution_status_success] json is null");
        return 0;
    }
    owned_text status;
    if (copy_status(json, status) != RESULT__OK) return 0;
    return strcmp(status.data, "Executed-Success") == 0;
}

uint8_t network_utils__is_secure_protocol(const char *scheme)
{
    if (!scheme) return 0;
    return strncmp(scheme, "ssl", 3) == 0 || strncmp(scheme, "wss", 3) == 0 || strncmp(scheme, "mqtts", 5) == 0;
}
