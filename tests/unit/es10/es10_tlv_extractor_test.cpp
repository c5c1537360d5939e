#include "es10/es10_tlv_extractor.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <set>

namespace {

// ---- results of one byte

struct result_decoder {
    const char *name;
    uint32_t (*decode)(const uint8_t *response, uint32_t length, uint32_t *result);
    const char *outer_tag;
    std::set<int> accepted;
    const char *undefined;  // text for result 06
    const char *unreadable; // errors for an answer that holds no result
    const char *other;      // errors for another answer
    const char *empty;
};

class result : public testing::TestWithParam<result_decoder> {
  protected:
    uint32_t decode(const std::string &answer, uint32_t *value)
    {
        const auto response = bytes(answer);
        return GetParam().decode(response.data(), static_cast<uint32_t>(response.size()), value);
    }
};

TEST_P(result, accepts_exactly_the_defined_values)
{
    const log_capture quiet(0);
    for (int value = 0; value <= 0xFF; ++value) {
        const uint8_t byte = static_cast<uint8_t>(value);
        uint32_t decoded = 0xAAAA;
        const uint32_t rc = decode(GetParam().outer_tag + std::string("03 80 01") + hex(&byte, 1), &decoded);
        if (GetParam().accepted.count(value)) {
            EXPECT_EQ(rc, 0u) << value;
            EXPECT_EQ(decoded, static_cast<uint32_t>(value));
        } else {
            EXPECT_EQ(rc, 1u) << value;
            EXPECT_EQ(decoded, 0xAAAAu) << "left untouched";
        }
    }
}

TEST_P(result, that_is_not_defined_is_logged)
{
    uint32_t decoded = 0;
    const log_capture log;
    EXPECT_EQ(decode(GetParam().outer_tag + std::string("03 80 01 06"), &decoded), 1u);
    EXPECT_EQ(log.up_to(1), GetParam().undefined);
}

TEST_P(result, that_is_missing_gives_1)
{
    uint32_t decoded = 0;
    const log_capture log;
    EXPECT_EQ(decode(GetParam().outer_tag + std::string("03 81 01 00"), &decoded), 1u);
    EXPECT_EQ(log.up_to(1), GetParam().unreadable);
}

TEST_P(result, in_another_answer_gives_1)
{
    uint32_t decoded = 0;
    const log_capture log;
    EXPECT_EQ(decode("BF7E 03 80 01 00", &decoded), 1u);
    EXPECT_EQ(log.up_to(1), GetParam().other);
}

TEST_P(result, of_an_empty_answer_gives_4)
{
    const uint8_t byte = 0xBF;
    uint32_t decoded = 0xAAAA;
    const log_capture log;
    EXPECT_EQ(GetParam().decode(nullptr, 5, &decoded), 4u);
    EXPECT_EQ(GetParam().decode(&byte, 0, &decoded), 4u);
    EXPECT_EQ(decoded, 0xAAAAu);
    EXPECT_EQ(log.up_to(5), std::string(GetParam().empty) + GetParam().empty);
}

// clang-format off
const result_decoder result_decoders[] = {
    {"enable", es10_tlv_extractor__enable_profile_response, "BF31", {0, 1, 2, 3, 4, 5, 127},
     "1 [es10_tlv_extractor__enable_profile_response] Result 06 not defined in the enableResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__enable_profile_response] Error extracting the enableResult, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF31 not found\n"
     "1 [es10_tlv_extractor__enable_profile_response] Error extracting the enableResult, rc 1\n",
     "1 [es10_tlv_extractor__enable_profile_response] tlv is empty/null\n"},
    {"disable_without_4", es10_tlv_extractor__disable_profile_response, "BF32", {0, 1, 2, 3, 5, 127},
     "1 [es10_tlv_extractor__disable_profile_response] Result 06 not defined in the disableResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__disable_profile_response] Error extracting the disableResult, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF32 not found\n"
     "1 [es10_tlv_extractor__disable_profile_response] Error extracting the disableResult, rc 1\n",
     "1 [es10_tlv_extractor__disable_profile_response] tlv is empty/null\n"},
    {"delete_profile", es10_tlv_extractor__delete_profile_response, "BF33", {0, 1, 2, 3, 127},
     "1 [es10_tlv_extractor__delete_profile_response] Result 06 not defined in the deleteResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__delete_profile_response] Error extracting the deleteResult, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF33 not found\n"
     "1 [es10_tlv_extractor__delete_profile_response] Error extracting the deleteResult, rc 1\n",
     "1 [es10_tlv_extractor__delete_profile_response] tlv is empty/null\n"},
    {"set_nickname", es10_tlv_extractor__set_nickname_response, "BF29", {0, 1, 127},
     "1 [es10_tlv_extractor__set_nickname_response] Result 06 not defined in the setNicknameResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__set_nickname_response] Error extracting the setNicknameResult, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF29 not found\n"
     "1 [es10_tlv_extractor__set_nickname_response] Error extracting the setNicknameResult, rc 1\n",
     "1 [es10_tlv_extractor__set_nickname_response] tlv is empty/null\n"},
    {"set_default_dp_address", es10_tlv_extractor__set_default_dp_address_response, "BF3F", {0, 127},
     "1 [es10_tlv_extractor__set_default_dp_address_response] Result 06 not defined in the setDefaultDpAddressResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__set_default_dp_address_response] Error extracting the setDefaultDpAddressResult, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF3F not found\n"
     "1 [es10_tlv_extractor__set_default_dp_address_response] Error extracting the setDefaultDpAddressResult, rc 1\n",
     "1 [es10_tlv_extractor__set_default_dp_address_response] tlv is empty/null\n"},
    {"notification_sent", es10_tlv_extractor__notification_sent_response, "BF30", {0, 1, 127},
     "1 [es10_tlv_extractor__notification_sent_response] Result 06 not defined in the deleteNotificationStatus\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__notification_sent_response] Error extracting the result of the TLV, rc 1\n",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF30 not found\n"
     "1 [es10_tlv_extractor__notification_sent_response] Error extracting the result of the TLV, rc 1\n",
     "1 [es10_tlv_extractor__notification_sent_response] tlv is empty/null\n"},
    {"memory_reset", es10_tlv_extractor__euicc_memory_reset_response, "BF34", {0, 1, 5, 127},
     "1 [es10_tlv_extractor__euicc_memory_reset_response] Result 06 not defined in the resetResult\n",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"
     "1 [es10_tlv_extractor__euicc_memory_reset_response] Error extracting the resetResult, rc 1\n",
     "1 [es10_tlv_extractor__euicc_memory_reset_response] TAG of EuiccMemoryResetResponse (BF34) not found\n",
     "1 [es10_tlv_extractor__euicc_memory_reset_response] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, result, testing::ValuesIn(result_decoders),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(result_of_notification_sent, is_shown_before_it_is_judged)
{
    const auto response = bytes("BF30 03 80 01 FE");
    uint32_t decoded = 0;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__notification_sent_response(response.data(), 6, &decoded), 1u);
    EXPECT_EQ(
        log.up_to(4),
        "4 [es10_tlv_extractor__notification_sent_response] NotificationSentResponse(deleteNotificationStatus=FE)\n"
        "1 [es10_tlv_extractor__notification_sent_response] Result FE not defined in the deleteNotificationStatus\n");
}

// ---- addresses

struct addresses_case {
    const char *name, *answer;
    uint32_t code;
    const char *default_address; // null: a null pointer afterwards
    const char *root_address;
    const char *log; // up to level 4
};

class addresses : public testing::TestWithParam<addresses_case> {};

TEST_P(addresses, give_code_record_and_log)
{
    const auto response = bytes(GetParam().answer);
    EuiccConfiguredAddresses record = {};
    const log_capture log;
    testing::internal::CaptureStderr(); // the addresses themselves
    EXPECT_EQ(es10_tlv_extractor__euicc_configured_addresses_response(response.data(),
                                                                      static_cast<uint32_t>(response.size()), &record),
              GetParam().code);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.up_to(4), GetParam().log);
    ASSERT_EQ(record.defaultDpAddress == nullptr, GetParam().default_address == nullptr);
    if (record.defaultDpAddress) {
        EXPECT_EQ(std::string(record.defaultDpAddress, record.defaultDpAddress_length), GetParam().default_address);
    } else {
        EXPECT_EQ(record.defaultDpAddress_length, 0);
    }
    ASSERT_EQ(record.rootDsAddress == nullptr, GetParam().root_address == nullptr);
    if (record.rootDsAddress) {
        EXPECT_EQ(std::string(record.rootDsAddress, record.rootDsAddress_length), GetParam().root_address);
    }
}

// clang-format off
const addresses_case addresses_cases[] = {
    {"both", "BF3C 0A 80 03 61 2E 62 81 03 63 2E 64", 0, "a.b", "c.d", ""},
    {"only_root_ds_address_gives_a_null_default_dp_address", "BF3C 05 81 03 63 2E 64", 0, nullptr, "c.d",
     "4 [es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress not present\n"},
    {"empty_default_dp_address_is_present", "BF3C 07 80 00 81 03 63 2E 64", 0, "", "c.d", ""},
    {"without_root_ds_address_the_default_is_cleared", "BF3C 05 80 03 61 2E 62", 1, nullptr, nullptr,
     "1 [es10_tlv_extractor__euicc_configured_addresses_response] TAG of rootDsAddress (81) not found\n"},
    {"another_answer", "BF3D 05 81 03 63 2E 64", 1, nullptr, nullptr,
     "1 [es10_tlv_extractor__euicc_configured_addresses_response] TAG of EuiccConfiguredAddressesResponse (BF3C) not found\n"},
    {"answer_cut_short", "BF3C 06 81 03 63 2E 64", 1, nullptr, nullptr,
     "1 [es10_tlv_extractor__euicc_configured_addresses_response] TAG of EuiccConfiguredAddressesResponse (BF3C) not found\n"},
    {"default_dp_address_runs_past_the_answer", "BF3C 05 80 04 61 2E 62", 1, nullptr, nullptr,
     "1 [es10_tlv_extractor__euicc_configured_addresses_response] Error parsing the defaultDpAddress TLV, rc 1\n"},
    {"root_ds_address_runs_past_the_answer", "BF3C 0A 80 03 61 2E 62 81 04 63 2E 64", 1, nullptr, nullptr,
     "1 [es10_tlv_extractor__euicc_configured_addresses_response] Error parsing the rootDsAddress TLV, rc 1\n"},
    {"an_80_inside_another_field_is_no_default_dp_address", "BF3C 0A A0 03 80 01 61 81 03 63 2E 64", 0, nullptr, "c.d",
     "4 [es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress not present\n"},
    {"nothing", "", 4, nullptr, nullptr, "1 [es10_tlv_extractor__euicc_configured_addresses_response] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, addresses, testing::ValuesIn(addresses_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(addresses_record, keeps_a_default_dp_address_that_the_card_does_not_have)
{
    const auto response = bytes("BF3C 05 81 03 63 2E 64");
    EuiccConfiguredAddresses record = {"before", 6, nullptr, 0};
    const log_capture quiet(0);
    EXPECT_EQ(es10_tlv_extractor__euicc_configured_addresses_response(response.data(), 8, &record), 0u);
    EXPECT_STREQ(record.defaultDpAddress, "before");
    EXPECT_EQ(record.defaultDpAddress_length, 6);
}

TEST(addresses_record, refuses_an_address_longer_than_its_length_field)
{
    auto response = bytes("BF3C 83 01 00 05 81 83 01 00 00");
    response.resize(response.size() + 0x10000, 'x');
    EuiccConfiguredAddresses record = {};
    const log_capture log(1);
    EXPECT_EQ(es10_tlv_extractor__euicc_configured_addresses_response(response.data(),
                                                                      static_cast<uint32_t>(response.size()), &record),
              1u);
    EXPECT_EQ(
        log.up_to(1),
        "1 [es10_tlv_extractor__euicc_configured_addresses_response] Error parsing the rootDsAddress TLV, rc 1\n");
}

TEST(addresses_trace, tells_offsets_from_the_first_byte_of_the_answer)
{
    const auto response = bytes("04 01 FF BF3C 0A 80 03 61 2E 62 81 03 63 2E 64");
    EuiccConfiguredAddresses record = {};
    const log_capture log;
    testing::internal::CaptureStderr();
    EXPECT_EQ(es10_tlv_extractor__euicc_configured_addresses_response(response.data(),
                                                                      static_cast<uint32_t>(response.size()), &record),
              0u);
    const std::string shown = testing::internal::GetCapturedStderr();
    std::string own;
    for (const log_capture::line &line : log.lines())
        if (line.text.rfind("[es10_tlv", 0) == 0) own += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(
        own,
        "5 [es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse\n"
        "5 [es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse TAG offset 3\n"
        "5 [es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse VALUE offset 6\n"
        "5 [es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress TAG 0080, nTag 01, LENGTH 3, nLength 01\n"
        "5 [es10_tlv_extractor__euicc_configured_addresses_response] rootDsAddress TAG 0081, nTag 01, LENGTH 3, nLength 01\n");
    EXPECT_NE(shown.find("[es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress: a.b\n"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("[es10_tlv_extractor__euicc_configured_addresses_response] rootDsAddress: c.d\n"),
              std::string::npos)
        << shown;
}

// ---- mccMnc of the enabled profile

struct owner_case {
    const char *name, *answer;
    uint32_t code;
    int found; // 9: left as it was
    const char *mcc_mnc;
    const char *log; // own lines up to level 4, dumps left out
};

class enabled_profile : public testing::TestWithParam<owner_case> {};

TEST_P(enabled_profile, gives_its_owner)
{
    const auto response = bytes(GetParam().answer);
    uint8_t mcc_mnc[3] = {0xEE, 0xEE, 0xEE};
    uint8_t found = 9;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(
                  response.data(), static_cast<uint32_t>(response.size()), mcc_mnc, &found),
              GetParam().code);
    EXPECT_EQ(found, GetParam().found);
    EXPECT_EQ(hex(mcc_mnc, 3), GetParam().mcc_mnc);
    std::string own;
    for (const log_capture::line &line : log.lines())
        if (line.text.rfind("[es10_tlv", 0) == 0 && line.text.find("gid") == std::string::npos)
            own += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(own, GetParam().log);
}

// clang-format off
#define BEGINNING "4 [es10_tlv_extractor__profile_info_list_response] tlv\n4 [es10_tlv_extractor__profile_info_list_response] PROFILE_INFO_LIST TAG found at 0\n"
const owner_case owner_cases[] = {
    {"second_of_two", "BF2D 1C A0 1A E3 0B 9F70 01 00 B7 05 80 03 112233 E3 0B 9F70 01 01 B7 05 80 03 42F610", 0, 1, "42F610",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "4 [es10_tlv_extractor__profile_info_list_response] operatorId mccMnc value\n"},
    {"first_enabled_ends_the_walk_before_a_broken_one",
     "BF2D 16 A0 14 E3 0B 9F70 01 01 B7 05 80 03 42F610 E3 05 9F70 02 01 01", 0, 1, "42F610",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "4 [es10_tlv_extractor__profile_info_list_response] operatorId mccMnc value\n"},
    {"without_owner_leaves_the_flag", "BF2D 08 A0 06 E3 04 9F70 01 01", 0, 9, "EEEEEE",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "5 [es10_tlv_extractor__profile_info] TAG of profileInfoOwner (B7) not found\n"
     "4 [es10_tlv_extractor__profile_info_list_response] The current enabled profile doesn't have operatorId mccMnc\n"},
    {"skips_a_profile_without_state", "BF2D 18 A0 16 E3 07 B7 05 80 03 112233 E3 0B 9F70 01 01 B7 05 80 03 42F610", 0, 1, "42F610",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "5 [es10_tlv_extractor__profile_info] TAG of profileInfoState (9F70) not found\n"
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "4 [es10_tlv_extractor__profile_info_list_response] operatorId mccMnc value\n"},
    {"none_enabled_ends_with_code_0", "BF2D 0F A0 0D E3 0B 9F70 01 00 B7 05 80 03 112233", 0, 9, "EEEEEE",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "1 [es10_tlv_extractor__profile_info_list_response] Error iterating over the profileInfoListOk, rc 0\n"},
    {"no_profile_at_all", "BF2D 02 A0 00", 0, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] Error iterating over the profileInfoListOk, rc 0\n"},
    {"list_of_something_else", "BF2D 05 A0 03 E4 01 00", 1, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] Error iterating over the profileInfoListOk, rc 1\n"},
    {"profile_that_runs_past_the_list", "BF2D 08 A0 06 E3 05 9F70 01 01", 1, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] Error iterating over the profileInfoListOk, rc 1\n"},
    {"state_2", "BF2D 08 A0 06 E3 04 9F70 01 02", 1, 9, "EEEEEE",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "1 [es10_tlv_extractor__profile_info] State 02 not defined in the profileInfoState\n"
     "1 [es10_tlv_extractor__profile_info_list_response] Error extracting the profileInfo, rc 1\n"},
    {"state_of_two_bytes", "BF2D 09 A0 07 E3 05 9F70 02 01 01", 1, 9, "EEEEEE",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "1 [es10_tlv_extractor__profile_info_list_response] Error extracting the profileInfo, rc 1\n"},
    {"owner_without_mcc_mnc", "BF2D 0D A0 0B E3 09 9F70 01 01 B7 03 81 01 07", 1, 9, "EEEEEE",
     BEGINNING
     "4 [es10_tlv_extractor__profile_info] ProfileInfo\n"
     "1 [es10_tlv_extractor__profile_info] Error extracting the profileInfoOwner, rc 1\n"
     "1 [es10_tlv_extractor__profile_info_list_response] Error extracting the profileInfo, rc 1\n"},
    {"profile_info_list_error", "BF2D 03 81 01 01", 1, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] ProfileInfoListResponse contains a profileInfoListError\n"},
    {"neither_list_nor_error", "BF2D 03 82 01 01", 1, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] Error initializing the profileInfoListOk of the ProfileInfoListResponse, rc 1\n"},
    {"empty_answer_value", "BF2D 00", 4, 9, "EEEEEE",
     BEGINNING
     "1 [es10_tlv_extractor__profile_info_list_response] Error initializing the profileInfoListOk of the ProfileInfoListResponse, rc 4\n"},
    {"another_answer", "BF2E 00", 1, 9, "EEEEEE",
     "4 [es10_tlv_extractor__profile_info_list_response] tlv\n4 [es10_tlv_extractor__profile_info_list_response] not found PROFILE_INFO_LIST TAG\n"},
    {"nothing", "", 4, 9, "EEEEEE", "1 [es10_tlv_extractor__profile_info_list_response] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, enabled_profile, testing::ValuesIn(owner_cases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
