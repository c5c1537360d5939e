#include "bench/outside.h"
#include <algorithm>
#include <chrono>
#include <curl/curl.h>
#include <dlfcn.h>
#include <lgsm.h>

namespace {
outside_use use;

template <typename Function> Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// libcurl counts microseconds.
double seconds_of(CURL *handle, CURLINFO what)
{
    curl_off_t time = 0;
    curl_easy_getinfo(handle, what, &time);
    return static_cast<double>(time) / 1e6;
}
} // namespace

const outside_use &outside() { return use; }

double clock_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

extern "C" int lgsm_exec(struct ubus_context *bus, const char *command, char **response, int modem, int timeout)
{
    static const auto exec = next(&lgsm_exec, "lgsm_exec");
    const double start = clock_seconds();
    const int rc = exec(bus, command, response, modem, timeout);
    use.modem_seconds += clock_seconds() - start;
    ++use.at_commands;
    return rc;
}

extern "C" CURLcode curl_easy_perform(CURL *handle)
{
    static const auto perform = next(&curl_easy_perform, "curl_easy_perform");
    const double start = clock_seconds();
    const CURLcode rc = perform(handle);
    const double taken = clock_seconds() - start;
    const double handshake =
        seconds_of(handle, CURLINFO_APPCONNECT_TIME_T) - seconds_of(handle, CURLINFO_CONNECT_TIME_T);
    use.tls_seconds += handshake;
    use.network_seconds += taken - handshake;
    curl_off_t received = 0;
    curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &received);
    use.largest_answer = std::max(use.largest_answer, static_cast<size_t>(received));
    return rc;
}
