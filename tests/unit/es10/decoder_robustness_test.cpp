// Hostile answers: every decoder on its well-formed answer cut short byte by byte and with every byte changed, in a
// heap block of exactly that size, so that the address sanitizer sees each read outside it.
#include "es10/es10_tlv_extractor.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace {

bool within(const void *pointer, uint32_t size, const uint8_t *answer, uint32_t length)
{
    const auto *first = static_cast<const uint8_t *>(pointer);
    return first >= answer && first <= answer + length && size <= static_cast<size_t>(answer + length - first);
}

template <auto decode> uint32_t result_of(const uint8_t *answer, uint32_t length)
{
    uint32_t result = 0;
    return decode(answer, length, &result);
}

uint32_t addresses(const uint8_t *answer, uint32_t length)
{
    EuiccConfiguredAddresses record = {};
    const uint32_t rc = es10_tlv_extractor__euicc_configured_addresses_response(answer, length, &record);
    if (rc == 0) {
        EXPECT_TRUE(within(record.rootDsAddress, record.rootDsAddress_length, answer, length));
        EXPECT_TRUE(!record.defaultDpAddress ||
                    within(record.defaultDpAddress, record.defaultDpAddress_length, answer, length));
    }
    return rc;
}

uint32_t metadata(const uint8_t *answer, uint32_t length)
{
    NotificationMetadata record = {};
    const uint32_t rc = es10_tlv_extractor__notification_metadata(answer, length, &record);
    EXPECT_TRUE(rc != 0 || record.profileManagementOperation < 4);
    return rc;
}

uint32_t event(const uint8_t *answer, uint32_t length)
{
    uint32_t number = 0;
    return es10_tlv_extractor__notification_event(0x81, answer, length, &number);
}

uint32_t installation(const uint8_t *answer, uint32_t length)
{
    ProfileInstallationResult result = {};
    const uint32_t rc = es10_tlv_extractor__profile_installation_result(answer, length, &result);
    if (rc == 0) {
        EXPECT_TRUE(within(result.smdpOid, result.smdpOid_length, answer, length));
        EXPECT_TRUE(within(result.euiccSignPIR, result.euiccSignPIR_length, answer, length));
        EXPECT_TRUE(!result.simaResponse_present ||
                    within(result.simaResponse, result.simaResponse_length, answer, length));
        EXPECT_LE(result.aid_length, sizeof result.aid);
    }
    return rc;
}

uint32_t notification_list(const uint8_t *answer, uint32_t length)
{
    ListNotificationResponse record = {};
    const uint32_t rc = es10_tlv_extractor__list_notification_response(answer, length, &record);
    if (rc != 0 || record.choice != LIST_NOTIFICATION__METADATA_LIST) return rc;
    const uint8_t *element = nullptr;
    uint32_t size = 0;
    while (tlv_data_extractor__asn1_list_get_next(&record.notificationMetadataList, &element, &size) == 0 && element) {
        EXPECT_TRUE(within(element, 0, answer, length));
        metadata(element, std::min<uint32_t>(size, static_cast<uint32_t>(answer + length - element)));
    }
    return rc;
}

uint32_t emptiness(const uint8_t *answer, uint32_t length)
{
    uint8_t empty = 0;
    return es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(answer, length, &empty);
}

uint32_t owner(const uint8_t *answer, uint32_t length)
{
    uint8_t mcc_mnc[3] = {};
    uint8_t found = 0;
    return es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(answer, length, mcc_mnc, &found);
}

struct decoder_case {
    const char *name;
    uint32_t (*decode)(const uint8_t *answer, uint32_t length);
    const char *answer;
};

class hostile_answer : public testing::TestWithParam<decoder_case> {};

uint32_t decode_copy(const decoder_case &decoder, const uint8_t *answer, size_t length)
{
    const std::unique_ptr<uint8_t[]> block(new uint8_t[length]);
    std::copy_n(answer, length, block.get());
    return decoder.decode(block.get(), static_cast<uint32_t>(length));
}

TEST_P(hostile_answer, whole_is_accepted)
{
    const auto answer = bytes(GetParam().answer);
    const log_capture quiet(0);
    EXPECT_EQ(decode_copy(GetParam(), answer.data(), answer.size()), 0u);
}

TEST_P(hostile_answer, cut_short_anywhere_is_refused)
{
    const auto answer = bytes(GetParam().answer);
    const log_capture quiet(0);
    for (size_t length = 0; length < answer.size(); ++length)
        EXPECT_NE(decode_copy(GetParam(), answer.data(), length), 0u) << length;
}

TEST_P(hostile_answer, with_any_byte_changed_is_never_read_past_its_end)
{
    auto answer = bytes(GetParam().answer);
    const log_capture quiet(0);
    int refused = 0;
    for (uint8_t &byte : answer) {
        const uint8_t good = byte;
        for (int value = 0; value <= 0xFF; ++value) {
            byte = static_cast<uint8_t>(value);
            if (decode_copy(GetParam(), answer.data(), answer.size()) != 0) ++refused;
        }
        byte = good;
    }
    EXPECT_GT(refused, 255) << "a wrong first byte alone makes another answer of it";
}

#define METADATA "BF2F 19 80 02 0102 81 02 06 40 0C 03 61 2E 62 5A 0A 981032547698103254F6"

// clang-format off
const decoder_case decoder_cases[] = {
    {"enable", result_of<es10_tlv_extractor__enable_profile_response>, "BF31 03 80 01 00"},
    {"disable", result_of<es10_tlv_extractor__disable_profile_response>, "BF32 03 80 01 00"},
    {"delete_profile", result_of<es10_tlv_extractor__delete_profile_response>, "BF33 03 80 01 00"},
    {"set_nickname", result_of<es10_tlv_extractor__set_nickname_response>, "BF29 03 80 01 00"},
    {"set_default_dp_address", result_of<es10_tlv_extractor__set_default_dp_address_response>, "BF3F 03 80 01 00"},
    {"notification_sent", result_of<es10_tlv_extractor__notification_sent_response>, "BF30 03 80 01 00"},
    {"memory_reset", result_of<es10_tlv_extractor__euicc_memory_reset_response>, "BF34 03 80 01 00"},
    {"list_notifications_result_error", result_of<es10_tlv_extractor__list_notifications_result_error>, "81 01 7F"},
    {"addresses", addresses, "BF3C 0A 80 03 61 2E 62 81 03 63 2E 64"},
    {"metadata", metadata, METADATA},
    {"metadata_in_a_signed_notification", metadata, "30 1C" METADATA},
    {"event", event, "81 02 06 40"},
    {"installation_success", installation, "BF37 3D BF27 35 80 02 AABB" METADATA "06 02 8837 A2 0F A0 0D 4F 05 A000000559 04 04 30020100 5F37 02 CAFE"},
    {"installation_error", installation, "BF37 3B BF27 33 80 02 AABB" METADATA "06 02 8837 A2 0D A1 0B 80 01 00 81 01 01 04 03 300100 5F37 02 CAFE"},
    {"notification_list", notification_list, "BF28 3A A0 38" METADATA METADATA},
    {"notification_list_error", notification_list, "BF28 03 81 01 7F"},
    {"emptiness", emptiness, "BF2B 06 A0 04 30 02 0500"},
    {"owner", owner, "BF2D 1C A0 1A E3 0B 9F70 01 00 B7 05 80 03 112233 E3 0B 9F70 01 01 B7 05 80 03 42F610"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, hostile_answer, testing::ValuesIn(decoder_cases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
