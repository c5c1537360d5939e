// Every converter of raw ES10 answers into documents. Input: converter (1 byte), argument (1), answer.
#include "fuzz/document_check.h"
#include "lpa/lpa_tlv_to_json.h"
#include "lpa/memory.h"
#include <cstring>

namespace {
struct document {
    char *text = nullptr;
    uint8_t flag = 0;
};

using converter = uint32_t (*)(uint8_t argument, const exact_bytes &answer, document &out);

template <auto convert> uint32_t plain(uint8_t, const exact_bytes &answer, document &out)
{
    return convert(answer.data(), answer.size(), &out.text);
}

template <auto convert> uint32_t flagged(uint8_t, const exact_bytes &answer, document &out)
{
    return convert(answer.data(), answer.size(), &out.text, &out.flag);
}

template <auto convert> uint32_t with_argument(uint8_t argument, const exact_bytes &answer, document &out)
{
    return convert(answer.data(), answer.size(), argument, &out.text, &out.flag);
}

uint32_t free_memory(uint8_t, const exact_bytes &answer, document &out)
{
    fuzz_input number(answer.data(), answer.size());
    return lpa_tlv_to_json__free_memory_response(number.long_number(), &out.text);
}

uint32_t records(uint8_t, const exact_bytes &answer, document &)
{
    LpaProfileRecord *profiles = nullptr;
    uint32_t count = 0;
    const uint32_t rc = lpa_tlv_parse_profile_info_list_response(answer.data(), answer.size(), &profiles, &count);
    REQUIRE(!profiles || rc == 0);
    REQUIRE(rc != 0 || (profiles != nullptr) == (count > 0));
    for (uint32_t i = 0; profiles && i < count; ++i)
        REQUIRE(strnlen(profiles[i].iccid, sizeof profiles[i].iccid) < sizeof profiles[i].iccid);
    M_free(profiles);
    return rc;
}

constexpr converter converters[] = {
    plain<lpa_tlv_to_json__get_euicc_data_response>,
    plain<lpa_tlv_to_json__profile_info_list_response>,
    plain<lpa_tlv_to_json__euicc_configured_addresses_response>,
    plain<lpa_tlv_to_json__list_notifications>,
    flagged<lpa_tlv_to_json__profile_installation_result>,
    flagged<lpa_tlv_to_json__enable_profile_response>,
    flagged<lpa_tlv_to_json__disable_profile_response>,
    flagged<lpa_tlv_to_json__delete_profile_response>,
    with_argument<lpa_tlv_to_json__set_nickname_response>,
    with_argument<lpa_tlv_to_json__set_default_dp_address_response>,
    free_memory,
    records,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const converter convert = converters[input.byte() % std::size(converters)];
    const uint8_t argument = input.byte();
    const exact_bytes answer(input.rest());
    document out;
    const uint32_t rc = convert(argument, answer, out);
    REQUIRE(is_result_code(rc));
    REQUIRE(rc == 0 || !out.text);
    REQUIRE(out.flag <= 1);
    const bool has_quotes = std::ranges::any_of(answer.all(), [](uint8_t byte) { return byte == '"' || byte == '\\'; });
    if (out.text) require_json(out.text, has_quotes);
    M_free(out.text);
    return 0;
}
