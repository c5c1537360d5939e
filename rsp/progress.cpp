#include "rsp/progress.h"
#include <span>
#include <string.h>

namespace {
using bytes = std::span<const uint8_t>;

constexpr uint32_t tag_store_metadata = 0xBF25;
constexpr uint32_t tag_service_provider_name = 0x91;
constexpr uint32_t tag_profile_name = 0x92;

void (*listener)(const lpa_progress *progress, void *context) = nullptr;
void *listener_context = nullptr;

lpa_progress current = {};
char provider[4 * 32 + 1]; // SGP.22 allows 32 and 64 characters of UTF-8
char name[4 * 64 + 1];

bool take_number(bytes &rest, size_t count, uint32_t &number)
{
    if (count > rest.size()) return false;
    number = 0;
    for (const uint8_t byte : rest.first(count))
        number = number << 8 | byte;
    rest = rest.subspan(count);
    return true;
}

// False at the end, and at an element that is cut short. The parser of tlv/ would log.
bool take_element(bytes &rest, uint32_t &tag, bytes &value)
{
    const bool has_two_bytes = !rest.empty() && (rest[0] & 0x1F) == 0x1F;
    uint32_t length = 0;
    if (!take_number(rest, has_two_bytes ? 2 : 1, tag) || !take_number(rest, 1, length)) return false;
    if (length >= 0x80 && !take_number(rest, length & 0x7F, length)) return false;
    if (length > rest.size()) return false;
    value = rest.first(length);
    rest = rest.subspan(length);
    return true;
}

template <size_t Size> void keep(bytes value, char (&text)[Size], const char *&known)
{
    if (value.size() >= Size) return;
    memcpy(text, value.data(), value.size());
    text[value.size()] = 0;
    known = text;
}
} // namespace

void progress__tell(uint32_t step, uint32_t done, uint32_t total)
{
    if (!listener) return;
    current.step = step;
    current.done = done;
    current.total = total;
    listener(&current, listener_context);
}

void progress__learn_profile(const uint8_t *metadata, uint32_t length)
{
    bytes rest(metadata, length);
    bytes fields;
    bytes value;
    uint32_t tag = 0;
    if (!take_element(rest, tag, fields) || tag != tag_store_metadata) return;
    while (take_element(fields, tag, value)) {
        if (tag == tag_service_provider_name) keep(value, provider, current.provider);
        if (tag == tag_profile_name) keep(value, name, current.name);
    }
}

void progress__forget_profile()
{
    current.provider = nullptr;
    current.name = nullptr;
}

void LPA__set_progress_callback(void (*callback)(const lpa_progress *progress, void *context), void *context)
{
    listener = callback;
    listener_context = context;
    progress__forget_profile(); // whatever the one before was told
}
