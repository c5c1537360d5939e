// Activation codes. Input: the code.
#include "rsp/activation_code.h"
#include "fuzz/fuzz_input.h"
#include <string>

namespace {
std::string text_of(const exact_bytes &code, const uint8_t *start, uint8_t length)
{
    REQUIRE(code.holds(start, length));
    const std::string piece(start, start + length);
    REQUIRE(piece.find('$') == std::string::npos);
    return piece;
}

struct pieces {
    std::string address, token, oid;
    uint8_t cc_required = 0;
    bool operator==(const pieces &) const = default;
};

bool parse(input_bytes characters, pieces &found)
{
    const exact_bytes code(characters);
    ActivationCodeInfo info = {};
    const uint32_t rc = rsp__parse_activation_code(code.data(), code.size(), &info);
    REQUIRE(rc == 0 || rc == 1 || rc == 4);
    if (rc != 0) return false;
    REQUIRE(info.cc_required <= 1);
    found = {text_of(code, info.smdp_address, info.smdp_address_length),
             text_of(code, info.ac_token, info.ac_token_length),
             info.smdp_oid ? text_of(code, info.smdp_oid, info.smdp_oid_length) : "", info.cc_required};
    return true;
}
} // namespace

// The pieces put together again give the same pieces.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    pieces found;
    if (!parse({data, size}, found)) return 0;
    std::string code = "1$" + found.address + "$" + found.token;
    if (!found.oid.empty() || found.cc_required) code += "$" + found.oid;
    if (found.cc_required) code += "$1";
    pieces again;
    REQUIRE(parse({reinterpret_cast<const uint8_t *>(code.data()), code.size()}, again));
    REQUIRE(again == found);
    return 0;
}
