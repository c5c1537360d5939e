// The JSON scanners. Input: key (until a line end), document.
#include "es9/https_transport.h"
#include "es9/json_data_extractor.h"
#include "fuzz/fuzz_input.h"
#include "lpa/memory.h"

namespace {
using find_span = uint32_t (*)(const char *document, const char *key, const char **span, uint32_t *length);
using copy_span = uint32_t (*)(const char *document, const char *key, char **copy);

// The span lies in the document, and its copy says the same.
std::string_view check_span(const exact_text &document, const exact_text &key, find_span find, copy_span copy)
{
    const char *span = nullptr;
    uint32_t length = 0;
    const uint32_t rc = find(document.data(), key.data(), &span, &length);
    char *text = nullptr;
    REQUIRE(copy(document.data(), key.data(), &text) == rc);
    REQUIRE((text != nullptr) == (rc == 0));
    if (rc != 0) return {};
    REQUIRE(document.holds(span, length));
    const std::string_view found(span, length);
    REQUIRE(found == text);
    M_free(text);
    return found;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const exact_text key(input.until("\n"));
    const exact_text document(input.rest());
    check_span(document, key, json_data_extractor__get_string_value, json_data_extractor__get_string_value_copy);
    const auto object =
        check_span(document, key, json_data_extractor__get_object_value, json_data_extractor__get_object_value_copy);
    REQUIRE(object.empty() || (object.front() == '{' && object.back() == '}'));
    int32_t number = 0;
    REQUIRE(is_result_code(json_data_extractor__get_int_value(document.data(), key.data(), &number)));
    uint8_t flag = 0;
    json_data_extractor__get_boolean_value(document.data(), key.data(), &flag);
    REQUIRE(flag <= 1);
    REQUIRE(network_utils__function_execution_status_success(document.data()) <= 1);
    network_utils__is_secure_protocol(key.data());
    return 0;
}
