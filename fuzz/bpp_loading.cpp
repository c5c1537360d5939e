// Loading of a Bound Profile Package. Input: form of the text (1 byte), package (until record_end), records of
// scripted_world.h.
#include "foundation/base64.h"
#include "fuzz/scripted_world.h"
#include "lpa/memory.h"
#include "rsp/bpp_loader.h"
#include <string>

namespace {
constexpr uint8_t escaped_padding = 1;
constexpr uint8_t as_text = 2; // the package's bytes are the characters themselves

std::string package_text(input_bytes package, uint8_t form)
{
    if (form & as_text) return {package.begin(), package.end()};
    char *text = base64_encode(package.data(), static_cast<uint32_t>(package.size()), nullptr);
    std::string result = text;
    M_free(text);
    for (size_t pad = result.find('='); (form & escaped_padding) && pad != std::string::npos; pad = result.find('='))
        result.replace(pad, 1, "\\u003d");
    return result;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t form = input.byte();
    const auto package = input.until(record_end);
    scripted_world world(input.rest());
    const std::string text = package_text(package, form);
    const exact_bytes characters(input_bytes(reinterpret_cast<const uint8_t *>(text.data()), text.size()));
    ModemHandle handle = {};
    uint8_t *result = nullptr;
    uint32_t length = 0;
    const uint32_t rc = load_base64_bound_profile_package(&handle, 1, reinterpret_cast<const char *>(characters.data()),
                                                          characters.size(), &result, &length);
    REQUIRE(is_result_code(rc));
    REQUIRE((result != nullptr) == (length > 0));
    REQUIRE(rc == 0 || !result);
    M_free(result);
    // The card gets the package's bytes in order, none twice and none left out.
    if (!(form & as_text)) {
        REQUIRE(world.stored.size() <= package.size());
        REQUIRE(std::ranges::equal(world.stored, package.first(world.stored.size())));
    }
    world.require_released();
    return 0;
}
