// One HTTPS request with other options than the library gives it. Stands in for libcurl's curl_easy_perform in the
// whole program.
#pragma once
#include <curl/curl.h>
#include <functional>

// change(handle) is called before the n-th request (1 is the next) is sent, while the object lives.
class changed_request {
  public:
    changed_request(size_t nth, std::function<void(CURL *)> change);
    ~changed_request();
    bool reached() const; // the n-th request was sent
};
