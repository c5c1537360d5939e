// Replaces libcurl's easy interface: records each request and answers it from a script. No network is touched.
#pragma once
#include <curl/curl.h>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

struct fake_https_type {
    struct request {
        std::string url;
        std::optional<std::string> body; // absent: no POST fields were set, so the request is a GET
        std::vector<std::string> headers;
        std::optional<std::string> proxy;
        std::map<CURLoption, long> numbers; // options with a number
        std::vector<CURLoption> order;      // all options, in the order they were set
    };
    struct answer {
        long status = 200;
        std::string body{};
        CURLcode result = CURLE_OK; // of curl_easy_perform; the body is delivered first
        std::string error{};        // written to the error buffer
        long proxy_error = 0;       // CURLINFO_PROXY_ERROR
    };
    std::deque<answer> script;                               // used first, one per request
    std::function<answer(const request &request)> otherwise; // used when the script is empty; else a failed connection
    std::vector<request> requests;                           // performed

    size_t piece = 1000;                // bytes that one call of the write callback is given
    bool initializes = true;            // curl_easy_init gives a handle
    std::set<CURLoption> refused;       // curl_easy_setopt answers CURLE_UNKNOWN_OPTION
    std::set<CURLINFO> unknown_infos;   // curl_easy_getinfo answers CURLE_UNKNOWN_OPTION
    std::set<std::string> lost_headers; // curl_slist_append answers null

    int global_initializations = 0;
    int open_handles = 0;
    int open_header_lines = 0;
    size_t delivered = 0; // bytes accepted by write callbacks
    void reset() { *this = {}; }
};
extern fake_https_type fake_https;
