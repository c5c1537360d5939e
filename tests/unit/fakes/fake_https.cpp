#include "unit/fakes/fake_https.h"
#include <algorithm>
#include <cstdarg>
#include <cstring>
#undef curl_easy_setopt
#undef curl_easy_getinfo

fake_https_type fake_https;

namespace {
using write_function = size_t (*)(void *data, size_t size, size_t count, void *user);

struct handle {
    fake_https_type::request request;
    write_function write = nullptr;
    void *write_data = nullptr;
    char *error = nullptr;
    fake_https_type::answer answer;
};

std::optional<std::string> text_of(const char *text) { return text ? std::optional<std::string>(text) : std::nullopt; }

void set_pointer(handle &easy, CURLoption option, void *value)
{
    const auto *text = static_cast<const char *>(value);
    switch (option) {
    case CURLOPT_URL:
        easy.request.url = text;
        break;
    case CURLOPT_POSTFIELDS:
        easy.request.body = text_of(text);
        break;
    case CURLOPT_PROXY:
        easy.request.proxy = text_of(text);
        break;
    case CURLOPT_WRITEFUNCTION:
        easy.write = reinterpret_cast<write_function>(value);
        break;
    case CURLOPT_WRITEDATA:
        easy.write_data = value;
        break;
    case CURLOPT_ERRORBUFFER:
        easy.error = static_cast<char *>(value);
        break;
    case CURLOPT_HTTPHEADER:
        easy.request.headers.clear();
        for (auto *line = static_cast<curl_slist *>(value); line; line = line->next)
            easy.request.headers.emplace_back(line->data);
        break;
    default:
        break;
    }
}

// Like libcurl: a callback that takes less than it was given ends the transfer.
CURLcode deliver(const handle &easy)
{
    std::string body = easy.answer.body; // the callback's argument is not const
    for (size_t offset = 0; offset < body.size(); offset += fake_https.piece) {
        const size_t size = std::min(fake_https.piece, body.size() - offset);
        if (easy.write(body.data() + offset, 1, size, easy.write_data) != size) return CURLE_WRITE_ERROR;
        fake_https.delivered += size;
    }
    return easy.answer.result;
}

fake_https_type::answer next_answer(const fake_https_type::request &request)
{
    if (!fake_https.script.empty()) {
        auto answer = fake_https.script.front();
        fake_https.script.pop_front();
        return answer;
    }
    if (fake_https.otherwise) return fake_https.otherwise(request);
    return {.status = 0, .body = "", .result = CURLE_COULDNT_CONNECT, .error = "", .proxy_error = 0};
}
} // namespace

extern "C" {
CURLcode curl_global_init(long)
{
    ++fake_https.global_initializations;
    return CURLE_OK;
}

CURL *curl_easy_init(void)
{
    if (!fake_https.initializes) return nullptr;
    ++fake_https.open_handles;
    return new handle;
}

void curl_easy_cleanup(CURL *curl)
{
    --fake_https.open_handles;
    delete static_cast<handle *>(curl);
}

CURLcode curl_easy_setopt(CURL *curl, CURLoption option, ...)
{
    auto &easy = *static_cast<handle *>(curl);
    easy.request.order.push_back(option);
    if (fake_https.refused.contains(option)) return CURLE_UNKNOWN_OPTION;
    va_list arguments;
    va_start(arguments, option);
    if (option < CURLOPTTYPE_OBJECTPOINT) easy.request.numbers[option] = va_arg(arguments, long);
    else set_pointer(easy, option, va_arg(arguments, void *));
    va_end(arguments);
    return CURLE_OK;
}

CURLcode curl_easy_perform(CURL *curl)
{
    auto &easy = *static_cast<handle *>(curl);
    fake_https.requests.push_back(easy.request);
    easy.answer = next_answer(easy.request);
    if (easy.error) strcpy(easy.error, easy.answer.error.substr(0, CURL_ERROR_SIZE - 1).c_str());
    return deliver(easy);
}

CURLcode curl_easy_getinfo(CURL *curl, CURLINFO info, ...)
{
    if (fake_https.unknown_infos.contains(info)) return CURLE_UNKNOWN_OPTION;
    const auto &easy = *static_cast<handle *>(curl);
    va_list arguments;
    va_start(arguments, info);
    auto *value = va_arg(arguments, long *);
    va_end(arguments);
    if (info == CURLINFO_RESPONSE_CODE) *value = easy.answer.status;
    if (info == CURLINFO_PROXY_ERROR) *value = easy.answer.proxy_error;
    return CURLE_OK;
}

const char *curl_easy_strerror(CURLcode) { return "text of the code"; }

struct curl_slist *curl_slist_append(struct curl_slist *list, const char *line)
{
    if (fake_https.lost_headers.contains(line)) return nullptr;
    ++fake_https.open_header_lines;
    auto *added = new curl_slist{strdup(line), nullptr};
    if (!list) return added;
    auto *last = list;
    while (last->next)
        last = last->next;
    last->next = added;
    return list;
}

void curl_slist_free_all(struct curl_slist *list)
{
    while (list) {
        auto *next = list->next;
        free(list->data);
        delete list;
        --fake_https.open_header_lines;
        list = next;
    }
}
}
