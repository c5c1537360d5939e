// base64 in its three forms: encoding, decoding into new memory, decoding into the caller's. Input: text or bytes.
#include "foundation/base64.h"
#include "fuzz/fuzz_input.h"
#include "lpa/memory.h"
#include <string>

namespace {
constexpr std::string_view escaped_pad = "\\u003d";

bool is(const exact_bytes &expected, const uint8_t *bytes, size_t size)
{
    return std::ranges::equal(expected.all(), input_bytes(bytes, size));
}

// Decoding what was encoded gives the same bytes, its padding escaped or not.
void encode_and_decode(const exact_bytes &bytes)
{
    uint32_t length = 0;
    char *text = base64_encode(bytes.data(), bytes.size(), &length);
    REQUIRE(text && text[length] == '\0' && length == (bytes.size() + 2) / 3 * 4);
    std::string_view view(text, length);
    exact_text plain(input_bytes(reinterpret_cast<uint8_t *>(text), length));
    const exact_bytes out(bytes.size());
    if (bytes.size() > 0) {
        REQUIRE(b64_decode_static(nullptr, 0, plain.data(), length) == static_cast<int32_t>(bytes.size()));
        REQUIRE(b64_decode_static(out.data(), out.size() - 1, plain.data(), length) == -7);
        REQUIRE(b64_decode_static(out.data(), out.size(), plain.data(), length) == static_cast<int32_t>(bytes.size()));
        REQUIRE(is(bytes, out.data(), out.size()));
        uint32_t size = 0;
        uint8_t *decoded = base64_decode(plain.data(), length, &size);
        REQUIRE(decoded && is(bytes, decoded, size));
        M_free(decoded);
    }
    std::string escaped(view.substr(0, view.find('=')));
    for (size_t pads = view.size() - escaped.size(); pads > 0; --pads)
        escaped += escaped_pad;
    const exact_text padded(input_bytes(reinterpret_cast<const uint8_t *>(escaped.data()), escaped.size()));
    if (bytes.size() > 0) {
        auto *in_place = reinterpret_cast<uint8_t *>(padded.data());
        const exact_text copy(input_bytes(in_place, padded.length()));
        const int32_t written = b64_decode_static(in_place, padded.length(), padded.data(), padded.length());
        REQUIRE(written == static_cast<int32_t>(bytes.size()) && is(bytes, in_place, bytes.size()));
        uint32_t size = 0;
        uint8_t *decoded = base64_decode(copy.data(), copy.length(), &size);
        REQUIRE(decoded && is(bytes, decoded, size));
        M_free(decoded);
    }
    M_free(text);
}

// Any text: the announced size is never exceeded.
void decode(input_bytes characters)
{
    const exact_bytes text(characters);
    const auto *start = reinterpret_cast<const char *>(text.data());
    const int32_t needed = b64_decode_static(nullptr, 0, start, text.size());
    if (needed >= 0) {
        const exact_bytes out(static_cast<size_t>(needed));
        const int32_t written = b64_decode_static(out.data(), out.size(), start, text.size());
        REQUIRE(written <= needed);
    }
    const exact_text terminated(characters);
    uint32_t size = 0;
    uint8_t *decoded = base64_decode(terminated.data(), terminated.length(), &size);
    REQUIRE(!decoded || size <= terminated.length() / 4 * 3);
    M_free(decoded);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    encode_and_decode(exact_bytes(input_bytes(data, size)));
    decode({data, size});
    return 0;
}
