#include "system/changed_request.h"
#include <dlfcn.h>

namespace {
size_t until_change = 0; // 0: none is ordered
std::function<void(CURL *)> change_request;
bool changed = false;
} // namespace

changed_request::changed_request(size_t nth, std::function<void(CURL *)> change)
{
    until_change = nth;
    change_request = std::move(change);
    changed = false;
}

changed_request::~changed_request() { until_change = 0; }

bool changed_request::reached() const { return changed; }

extern "C" __attribute__((visibility("default"))) CURLcode curl_easy_perform(CURL *handle)
{
    static const auto perform = reinterpret_cast<CURLcode (*)(CURL *)>(dlsym(RTLD_NEXT, "curl_easy_perform"));
    if (until_change > 0 && --until_change == 0) {
        change_request(handle);
        changed = true;
    }
    return perform(handle);
}
