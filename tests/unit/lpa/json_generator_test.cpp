#include "foundation/owned_bytes.h"
#include "lpa/json_generator.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_format.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_factory.h"
#include "unit/lpa/scripted_card.h"
#include <algorithm>
#include <cstring>
#include <functional>

namespace {

std::string text_of(const owned_text &text) { return text.data ? text.data : "(null)"; }

// ---- Result codes -------------------------------------------------------------------------------------------------

struct code_case {
    uint32_t code;
    const char *json;
};
class process_error : public testing::TestWithParam<code_case> {};

TEST_P(process_error, describes_the_code)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__process_error(GetParam().code, &json.data), 0u);
    EXPECT_EQ(text_of(json), GetParam().json);
    EXPECT_EQ(log.up_to(5),
              std::string("4 [json_generator__result_description] result json string [") + GetParam().json + "]\n");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, process_error, testing::ValuesIn(std::to_array<code_case>({
    {0, R"({"result":0,"description":"No error"})"},
    {1, R"({"result":1,"description":"Fatal error"})"},
    {2, R"({"result":2,"description":"Not supported"})"},
    {3, R"({"result":3,"description":"Not implemented"})"},
    {4, R"({"result":4,"description":"Bad argument"})"},
    {5, R"({"result":5,"description":"JSON parse error"})"},
    {6, R"({"result":6,"description":"eSIM error"})"},
    {7, R"({"result":7,"description":"Not enough buffer"})"},
    {8, R"({"result":8,"description":"No data"})"},
    {9, R"({"result":9,"description":"No memory"})"},
    {10, R"({"result":10,"description":"eSIM busy"})"},
    {11, R"({"result":11,"description":"Connection failed"})"},
    {12, R"({"result":12,"description":"Not enough free memory in the eUICC to store the profile"})"},
    {13, R"({"result":13,"description":"Profile installation failed due to authentication error"})"},
    {14, R"({"result":14,"description":"Modem error"})"},
    {15, R"({"result":15,"description":"SIM card error"})"},
    {16, R"({"result":16,"description":"Undefined error"})"},
    {17, R"({"result":17,"description":"Undefined error"})"},
    {18, R"({"result":18,"description":"Session cancelled"})"},
    {200, R"({"result":200,"description":"Undefined error"})"},
    {256, R"({"result":0,"description":"Undefined error"})"},
    {258, R"({"result":2,"description":"Undefined error"})"},
})), [](const auto &info) { return "code_" + std::to_string(info.param.code); });
// clang-format on

TEST(result_description, negative_numbers_keep_their_sign)
{
    owned_text json;
    EXPECT_EQ(json_generator__result_description(-7, "x", &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"result":-7,"description":"x"})");
}

TEST(result_description, texts_are_not_escaped)
{
    owned_text json;
    EXPECT_EQ(json_generator__result_description(1, "a\"b\\", &json.data), 0u);
    EXPECT_EQ(text_of(json), "{\"result\":1,\"description\":\"a\"b\\\"}");
}

// ---- ICCID --------------------------------------------------------------------------------------------------------

struct iccid_case {
    const char *name, *iccid, *digits;
};
class remove_iccid_padding : public testing::TestWithParam<iccid_case> {};

TEST_P(remove_iccid_padding, gives_the_digits_before_the_padding)
{
    char digits[21];
    memset(digits, 'x', sizeof digits);
    uint32_t length = 99;
    EXPECT_EQ(json_generator__remove_iccid_padding(bytes(GetParam().iccid).data(), digits, &length), 0u);
    EXPECT_EQ(length, strlen(GetParam().digits));
    EXPECT_STREQ(digits, GetParam().digits);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, remove_iccid_padding, testing::ValuesIn(std::to_array<iccid_case>({
    {"nineteen_digits", "89 01 23 45 67 89 01 23 45 6F", "8901234567890123456"},
    {"twenty_digits", "89 01 23 45 67 89 01 23 45 67", "89012345678901234567"},
    {"eighteen_digits", "89 01 23 45 67 89 01 23 45 FF", "890123456789012345"},
    {"a_byte_F0_ends_the_text_before_its_position", "89 01 F0 45 67 89 01 23 45 67", "8901"},
    {"F_at_once_gives_no_digit", "F9 01 23 45 67 89 01 23 45 67", ""},
    {"other_nibbles_are_upper_case_hex", "8A BC DE 45 67 89 01 23 45 6F", "8ABCDE4567890123456"},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST(remove_iccid_padding_arguments, null_arguments_are_refused)
{
    const auto iccid = bytes("89 01 23 45 67 89 01 23 45 6F");
    char digits[21];
    uint32_t length = 0;
    log_capture log;
    EXPECT_EQ(json_generator__remove_iccid_padding(nullptr, digits, &length), 4u);
    EXPECT_EQ(json_generator__remove_iccid_padding(iccid.data(), nullptr, &length), 4u);
    EXPECT_EQ(json_generator__remove_iccid_padding(iccid.data(), digits, nullptr), 4u);
    EXPECT_EQ(log.up_to(5), "1 [json_generator__remove_iccid_padding] iccid is null\n"
                            "1 [json_generator__remove_iccid_padding] iccid_unpadded is null\n"
                            "1 [json_generator__remove_iccid_padding] len is null\n");
}

// ---- Documents ----------------------------------------------------------------------------------------------------

class document : public lpa_test {};

const uint8_t eid[16] = {0x89, 0x04, 0x90, 0x32, 0, 0, 0, 0, 0, 0, 0, 0, 0xAB, 0xCD, 0xEF, 0x01};
const uint8_t iccid[10] = {0x89, 0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x45, 0x6F};
const uint8_t enabled = 1;

TEST_F(document, eid_in_upper_case_hex)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__get_eid(eid, &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"eid":"890490320000000000000000ABCDEF01"})");
    EXPECT_EQ(log.up_to(5),
              "4 [json_generator__get_eid] result json string [{\"eid\":\"890490320000000000000000ABCDEF01\"}]\n");
}

TEST_F(document, null_eid_is_refused)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__get_eid(nullptr, &json.data), 4u);
    EXPECT_EQ(json.data, nullptr);
    EXPECT_EQ(log.up_to(5), "1 [json_generator__get_eid] eid is null\n");
}

TEST_F(document, free_memory_is_unsigned)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__free_memory(4294967295u, &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"free_memory":4294967295})");
    EXPECT_EQ(log.up_to(5), "4 [json_generator__free_memory] result json string [{\"free_memory\":4294967295}]\n");
}

TEST_F(document, addresses_name_the_smds_first)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__get_addresses("dp.example", "ds.example", &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"smds":"ds.example","smdp":"dp.example"})");
    EXPECT_EQ(log.up_to(5),
              "4 [json_generator__get_addresses] Addresses json [{\"smds\":\"ds.example\",\"smdp\":\"dp.example\"}]\n");
}

TEST_F(document, addresses_without_default_smdp)
{
    owned_text json;
    EXPECT_EQ(json_generator__get_addresses(nullptr, "ds.example", &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"smds":"ds.example"})");
}

struct profile_case {
    const char *name;
    bool has_iccid, has_state;
    const char *nickname, *provider, *profile_name, *boot_profile, *json;
};
class profile_document : public lpa_test, public testing::WithParamInterface<profile_case> {};

TEST_P(profile_document, holds_the_fields_that_are_present)
{
    const auto &row = GetParam();
    if (row.boot_profile) fake_factory.boot_profile = row.boot_profile;
    owned_text json;
    EXPECT_EQ(json_generator__profile_info(row.has_iccid ? iccid : nullptr, row.has_state ? &enabled : nullptr,
                                           row.nickname, row.provider, row.profile_name, &json.data),
              0u);
    EXPECT_EQ(text_of(json), row.json);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, profile_document, testing::ValuesIn(std::to_array<profile_case>({
    {"empty_texts_are_left_out", true, true, "", "", "", nullptr,
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":0})"},
    {"null_texts_are_left_out", true, true, nullptr, nullptr, nullptr, nullptr,
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":0})"},
    {"everything", true, true, "nick", "prov", "name", nullptr,
        R"({"iccid":"8901234567890123456","status":1,"nickname":"nick","provider":"prov","name":"name","bootstrap":0})"},
    {"nothing_but_bootstrap", false, false, "", "", "", nullptr, R"({"bootstrap":0})"},
    {"state_alone", false, true, "", "", "", nullptr, R"({"status":1,"bootstrap":0})"},
    {"nickname_alone", false, false, "nick", "", "", nullptr, R"({"nickname":"nick","bootstrap":0})"},
    {"provider_alone", false, false, "", "prov", "", nullptr, R"({"provider":"prov","bootstrap":0})"},
    {"name_alone", false, false, "", "", "name", nullptr, R"({"name":"name","bootstrap":0})"},
    {"bootstrap_profile", true, true, "", "", "", "8901234567890123456",
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":1})"},
    {"bootstrap_text_may_go_on_after_the_iccid", true, true, "", "", "", "8901234567890123456F",
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":1})"},
    {"a_shorter_bootstrap_text_is_another_profile", true, true, "", "", "", "890123456789012345",
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":0})"},
    {"another_bootstrap_profile", true, true, "", "", "", "8901234567890123457",
        R"({"iccid":"8901234567890123456","status":1,"bootstrap":0})"},
    {"no_iccid_is_no_bootstrap_profile", false, true, "", "", "", "8901234567890123456",
        R"({"status":1,"bootstrap":0})"},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST_F(document, profile_fields_are_logged)
{
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__profile_info(iccid, &enabled, "nick", "prov", "name", &json.data), 0u);
    EXPECT_TRUE(log.contains(4, "[json_generator__profile_info] profileState 1"));
    EXPECT_TRUE(log.contains(4, "[json_generator__profile_info] profileNickname nick"));
    EXPECT_TRUE(log.contains(4, "[json_generator__profile_info] serviceProviderName prov"));
    EXPECT_TRUE(log.contains(4, "[json_generator__profile_info] profileName name"));
    EXPECT_TRUE(log.contains(4, std::string("[json_generator__profile_info] ProfileInfo JSON ") + json.data));
    EXPECT_NE(log.at(4).find("[json_generator__profile_info] iccid"), std::string::npos);
    EXPECT_NE(log.at(4).find("89 01 23 45 67 89 01 23 45 6F"), std::string::npos);
    EXPECT_EQ(log.up_to(3), "");
}

// ---- Outcomes -----------------------------------------------------------------------------------------------------

using generator = uint32_t (*)(uint32_t value, char **json, uint8_t *result);
constexpr generator nickname_set = [](uint32_t value, char **json, uint8_t *result) {
    return json_generator__profile_nickname(value, 0, json, result);
};
constexpr generator nickname_removed = [](uint32_t value, char **json, uint8_t *result) {
    return json_generator__profile_nickname(value, 1, json, result);
};
constexpr generator address_set = [](uint32_t value, char **json, uint8_t *result) {
    return json_generator__set_default_dp_address(value, 0, json, result);
};
constexpr generator address_removed = [](uint32_t value, char **json, uint8_t *result) {
    return json_generator__set_default_dp_address(value, 1, json, result);
};

struct outcome_case {
    generator generate;
    uint32_t value;
    const char *description; // null: refused
    const char *log = "";
};
class outcome : public testing::TestWithParam<outcome_case> {};

TEST_P(outcome, is_described_or_refused)
{
    const auto &row = GetParam();
    owned_text json;
    uint8_t result = 0xEE;
    log_capture log;
    const uint32_t rc = row.generate(row.value, &json.data, &result);
    EXPECT_EQ(log.up_to(1), row.log);
    if (!row.description) {
        EXPECT_EQ(rc, 4u);
        EXPECT_EQ(json.data, nullptr);
        EXPECT_EQ(result, 0xEE);
        return;
    }
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(result, row.value);
    EXPECT_EQ(text_of(json),
              "{\"result\":" + std::to_string(row.value) + ",\"description\":\"" + row.description + "\"}");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, outcome, testing::ValuesIn(std::to_array<outcome_case>({
    {json_generator__enable_profile, 0, "Profile enabled"},
    {json_generator__enable_profile, 1, "Profile not enabled. Profile ICCID or application AID not found"},
    {json_generator__enable_profile, 2, "Profile not enabled. The profile was not in disabled state"},
    {json_generator__enable_profile, 3, "Profile not enabled. Disallowed by policy"},
    {json_generator__enable_profile, 4, "Profile not enabled. Wrong profile reenabling"},
    {json_generator__enable_profile, 5, "Profile not enabled. Cat busy"},
    {json_generator__enable_profile, 127, "Profile not enabled. Undefined error"},
    {json_generator__enable_profile, 6, nullptr, "1 [json_generator__enable_profile] Unknown enableResult 6\n"},
    {json_generator__enable_profile, 256, nullptr, "1 [json_generator__enable_profile] Unknown enableResult 256\n"},
    {json_generator__disable_profile, 0, "Profile disabled"},
    {json_generator__disable_profile, 1, "Profile not disabled. Profile ICCID or application AID not found"},
    {json_generator__disable_profile, 2, "Profile not disabled. The profile was not in enabled state"},
    {json_generator__disable_profile, 3, "Profile not disabled. Disallowed by policy"},
    {json_generator__disable_profile, 5, "Profile not disabled. Cat busy"},
    {json_generator__disable_profile, 127, "Profile not disabled. Undefined error"},
    {json_generator__disable_profile, 4, nullptr, "1 [json_generator__disable_profile] Unknown disableResult 4\n"},
    {json_generator__delete_profile, 0, "Profile deleted"},
    {json_generator__delete_profile, 1, "Profile not deleted. Profile ICCID or application AID not found"},
    {json_generator__delete_profile, 2, "Profile not deleted. The profile was not in disabled state"},
    {json_generator__delete_profile, 3, "Profile not deleted. Disallowed by policy"},
    {json_generator__delete_profile, 127, "Profile not deleted. Undefined error"},
    {json_generator__delete_profile, 5, nullptr, "1 [json_generator__delete_profile] Unknown deleteResult 5\n"},
    {nickname_set, 0, "Nickname has been set"},
    {nickname_removed, 0, "Nickname removed"},
    {nickname_set, 1, "Nickname not set. Profile ICCID not found"},
    {nickname_removed, 1, "Nickname not set. Profile ICCID not found"},
    {nickname_set, 127, "Nickname not set. Undefined error"},
    {nickname_set, 2, nullptr, "1 [json_generator__profile_nickname] Unknown setNicknameResult 2\n"},
    {address_set, 0, "Default SM-DP+ address changed"},
    {address_removed, 0, "Default SM-DP+ address removed"},
    {address_set, 127, "Default SM-DP+ address not changed. Undefined error"},
    {address_removed, 1, nullptr, "1 [json_generator__profile_nickname] Unknown setNicknameResult 1\n"},
})));
// clang-format on

class install_error : public testing::TestWithParam<std::pair<int, const char *>> {};

TEST_P(install_error, is_described)
{
    ProfileInstallationResult installation = {};
    installation.finalResult = FINAL_RESULT__ERROR;
    installation.errorReason = static_cast<uint8_t>(GetParam().first);
    installation.notificationMetadata.iccid_present = 1; // of no interest after an error
    owned_text json;
    uint8_t result = 0;
    EXPECT_EQ(json_generator__install_profile_result(&installation, &json.data, &result), 0u);
    EXPECT_EQ(result, GetParam().first);
    EXPECT_EQ(text_of(json), "{\"result\":" + std::to_string(GetParam().first) +
                                 ",\"description\":\"Profile not installed. " + GetParam().second + "\"}");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, install_error, testing::ValuesIn(std::to_array<std::pair<int, const char *>>({
    {1, "Incorrect input values"},
    {2, "Invalid signature"},
    {3, "Invalid transaction ID"},
    {4, "Unsupported crt values"},
    {5, "Unsupported remote operation type"},
    {6, "Unsupported profile class"},
    {7, "SCP03t structure error"},
    {8, "SCP03t security error"},
    {9, "Install failed due to iccid already exists on eUICC"},
    {10, "Install failed due to insufficient memory for profile"},
    {11, "Install failed due to interruption"},
    {12, "Install failed due to PE processing error"},
    {13, "Install failed due to data mismatch"},
    {14, "Test profile install failed due to invalid naa key"},
    {15, "PPR not allowed"},
    {127, "Install failed due to unknown error"},
})), [](const auto &info) { return "reason_" + std::to_string(info.param.first); });
// clang-format on

TEST(install_result, unknown_error_reason_is_refused)
{
    ProfileInstallationResult installation = {};
    installation.finalResult = FINAL_RESULT__ERROR;
    installation.errorReason = 16;
    owned_text json;
    uint8_t result = 0xEE;
    log_capture log;
    EXPECT_EQ(json_generator__install_profile_result(&installation, &json.data, &result), 1u);
    EXPECT_EQ(json.data, nullptr);
    EXPECT_EQ(result, 0xEE);
    EXPECT_EQ(log.up_to(5), "1 [json_generator__install_profile_result] Unknown finalResult errorReason 16\n");
}

ProfileInstallationResult installed(const char *iccid_hex)
{
    ProfileInstallationResult installation = {};
    installation.finalResult = FINAL_RESULT__SUCCESS;
    installation.notificationMetadata.iccid_present = iccid_hex[0] != '\0';
    const auto digits = bytes(iccid_hex);
    std::ranges::copy(digits, installation.notificationMetadata.iccid);
    return installation;
}

struct installed_case {
    const char *name, *iccid, *json;
};
class install_success : public testing::TestWithParam<installed_case> {};

TEST_P(install_success, names_the_iccid_when_the_card_told_it)
{
    const ProfileInstallationResult installation = installed(GetParam().iccid);
    owned_text json;
    uint8_t result = 0xEE;
    EXPECT_EQ(json_generator__install_profile_result(&installation, &json.data, &result), 0u);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(text_of(json), GetParam().json);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, install_success, testing::ValuesIn(std::to_array<installed_case>({
    {"without_iccid", "", R"({"result":0,"description":"Profile installed"})"},
    {"plain_order", "89 01 23 45 67 89 01 23 45 6F",
        R"({"result":0,"description":"Profile installed","iccid":"8901234567890123456"})"},
    {"card_order_is_brought_to_digit_order", "98 10 32 54 76 98 10 32 54 F6",
        R"({"result":0,"description":"Profile installed","iccid":"8901234567890123456"})"},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST(install_result, an_iccid_in_neither_order_is_refused)
{
    const ProfileInstallationResult installation = installed("12 01 23 45 67 89 01 23 45 6F");
    owned_text json;
    uint8_t result = 0xEE;
    log_capture log;
    EXPECT_EQ(json_generator__install_profile_result(&installation, &json.data, &result), 4u);
    EXPECT_EQ(json.data, nullptr);
    EXPECT_EQ(result, 0xEE);
    EXPECT_TRUE(
        log.contains(1, "[json_generator__install_profile_result] Error parsing the ICCID to a plain format, rc 4"));
}

// ---- Notification -------------------------------------------------------------------------------------------------

NotificationMetadata notification(const char *iccid_hex)
{
    NotificationMetadata metadata = {};
    metadata.seqNumber = 4294967295u;
    metadata.profileManagementOperation = 3;
    strcpy(metadata.notificationAddress, "dp.example");
    metadata.iccid_present = iccid_hex[0] != '\0';
    std::ranges::copy(bytes(iccid_hex), metadata.iccid);
    return metadata;
}

TEST(notification_document, without_iccid)
{
    const NotificationMetadata metadata = notification("");
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__notification_metadata(&metadata, &json.data), 0u);
    EXPECT_EQ(text_of(json), R"({"sequence_number":4294967295,"event":3,"address":"dp.example"})");
    EXPECT_EQ(
        log.up_to(5),
        "4 [json_generator__notification_metadata] sequence_number 4294967295, profile_management_operation 3, notification_address 'dp.example'\n"
        "4 [json_generator__notification_metadata] Json with required fields '{\"sequence_number\":4294967295,\"event\":3,\"address\":\"dp.example\"'\n"
        "4 [json_generator__notification_metadata] json result '{\"sequence_number\":4294967295,\"event\":3,\"address\":\"dp.example\"}'\n");
}

TEST(notification_document, with_iccid)
{
    const NotificationMetadata metadata = notification("89 01 23 45 67 89 01 23 45 6F");
    owned_text json;
    EXPECT_EQ(json_generator__notification_metadata(&metadata, &json.data), 0u);
    EXPECT_EQ(text_of(json),
              R"({"sequence_number":4294967295,"event":3,"address":"dp.example","iccid":"8901234567890123456"})");
}

TEST(notification_document, the_iccid_keeps_its_digits_as_they_stand)
{
    const NotificationMetadata metadata = notification("98 10 32 54 76 98 10 32 54 F6");
    owned_text json;
    EXPECT_EQ(json_generator__notification_metadata(&metadata, &json.data), 0u);
    EXPECT_EQ(text_of(json),
              R"({"sequence_number":4294967295,"event":3,"address":"dp.example","iccid":"981032547698103254"})");
    EXPECT_EQ(metadata.iccid[0], 0x98);
}

TEST(notification_document, an_iccid_in_neither_order_is_refused)
{
    const NotificationMetadata metadata = notification("12 01 23 45 67 89 01 23 45 6F");
    owned_text json;
    log_capture log;
    EXPECT_EQ(json_generator__notification_metadata(&metadata, &json.data), 4u);
    EXPECT_EQ(json.data, nullptr);
    EXPECT_TRUE(
        log.contains(1, "[json_generator__notification_metadata] Error parsing the ICCID to a plain format, rc 4"));
}

// ---- What every generator shares ----------------------------------------------------------------------------------

struct shared_case {
    const char *name;
    std::function<uint32_t(char **json)> generate;
    const char *format; // part of its formats
    const char *bad_length, *no_memory, *not_written;
};

const ProfileInstallationResult installed_profile = installed("89 01 23 45 67 89 01 23 45 6F");
const NotificationMetadata deleted_profile = notification("89 01 23 45 67 89 01 23 45 6F");

// clang-format off
const shared_case generators[] = {
    {"result_description", [](char **json) { return json_generator__result_description(1, "d", json); },
        "{\"result\":%d", "[json_generator__result_description] Bad json length",
        "[json_generator__result_description] Can't allocate data to json",
        "[json_generator__result_description] Can't add data inside the json string"},
    {"process_error", [](char **json) { return json_generator__process_error(1, json); },
        "{\"result\":%d", "[json_generator__result_description] Bad json length",
        "[json_generator__result_description] Can't allocate data to json",
        "[json_generator__result_description] Can't add data inside the json string"},
    {"get_eid", [](char **json) { return json_generator__get_eid(eid, json); },
        "{\"eid\":", "[json_generator__get_eid] Can't add data inside the json string",
        "[json_generator__get_eid] Can't allocate data to json",
        "[json_generator__get_eid] Can't add data inside the json string"},
    {"free_memory", [](char **json) { return json_generator__free_memory(1, json); },
        "{\"free_memory\":", "[json_generator__free_memory] Bad json length",
        "[json_generator__free_memory] Can't allocate data to json",
        "[json_generator__free_memory] Can't add data inside the json string"},
    {"get_addresses", [](char **json) { return json_generator__get_addresses("a", "b", json); },
        "{\"smds\":", "[json_generator__get_addresses] Error calculating the length of the name filed in json",
        "[json_generator__get_addresses] addresses_json",
        "[json_generator__get_addresses] Error calculating the length of the name filed in json"},
    {"get_addresses_without_smdp", [](char **json) { return json_generator__get_addresses(nullptr, "b", json); },
        "{\"smds\":", "[json_generator__get_addresses] Error calculating the length of the name filed in json",
        "[json_generator__get_addresses] addresses_json",
        "[json_generator__get_addresses] Error calculating the length of the name filed in json"},
    {"install_profile_result", [](char **json) { uint8_t result; return json_generator__install_profile_result(&installed_profile, json, &result); },
        "\"iccid\":", "[json_generator__install_profile_result] Bad json length",
        "[json_generator__install_profile_result] Can't allocate data to json",
        "[json_generator__install_profile_result] Can't add data inside the json string"},
    {"notification_metadata", [](char **json) { return json_generator__notification_metadata(&deleted_profile, json); },
        "{\"sequence_number\":", "[json_generator__notification_metadata] Bad json length",
        "[json_generator__notification_metadata] Can't allocate data to json",
        "[json_generator__notification_metadata] Can't add data inside the json string"},
    {"notification_iccid", [](char **json) { return json_generator__notification_metadata(&deleted_profile, json); },
        ",\"iccid\":", "[json_generator__notification_metadata] Bad json length",
        "[json_generator__notification_metadata] Can't allocate data to json",
        "[json_generator__notification_metadata] Can't add data inside the json string"},
    {"profile_iccid", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"iccid\":", "[json_generator__profile_info] Error adding the ProfileInfo iccid in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo iccid in json"},
    {"profile_state", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"status\":", "[json_generator__profile_info] Error adding the ProfileInfo profileState in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo profileState in json"},
    {"profile_nickname", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"nickname\":", "[json_generator__profile_info] Error adding the ProfileInfo profileNickname in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo profileNickname in json"},
    {"profile_provider", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"provider\":", "[json_generator__profile_info] Error adding the ProfileInfo serviceProviderName in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo serviceProviderName in json"},
    {"profile_name", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"name\":", "[json_generator__profile_info] Error adding the ProfileInfo profileName in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo profileName in json"},
    {"profile_bootstrap", [](char **json) { return json_generator__profile_info(iccid, &enabled, "n", "p", "m", json); },
        "\"bootstrap\":", "[json_generator__profile_info] Error adding the ProfileInfo bootstrapState in json",
        "[json_generator__profile_info] Can't allocate data to json",
        "[json_generator__profile_info] Error adding the ProfileInfo bootstrapState in json"},
};

// clang-format on

char unwritten[] = "unwritten";

class generator_failures : public lpa_test, public testing::WithParamInterface<shared_case> {};

TEST_P(generator_failures, measuring)
{
    char *json = unwritten;
    log_capture log;
    failing_format failing(GetParam().format, 1);
    EXPECT_EQ(GetParam().generate(&json), 1u);
    EXPECT_TRUE(failing_format::reached());
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(log.up_to(3), std::string("1 ") + GetParam().bad_length + "\n");
}

TEST_P(generator_failures, memory)
{
    char *json = unwritten;
    log_capture log;
    failing_memory failing(1);
    EXPECT_EQ(GetParam().generate(&json), 9u);
    EXPECT_TRUE(failing_memory::reached());
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(log.up_to(3), std::string("1 ") + GetParam().no_memory + "\n");
}

TEST_P(generator_failures, writing)
{
    char *json = unwritten;
    log_capture log;
    failing_format failing(GetParam().format, 2);
    EXPECT_EQ(GetParam().generate(&json), 1u);
    EXPECT_TRUE(failing_format::reached());
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(log.up_to(3), std::string("1 ") + GetParam().not_written + "\n");
}

TEST_P(generator_failures, no_place_for_the_document) { EXPECT_EQ(GetParam().generate(nullptr), 4u); }

INSTANTIATE_TEST_SUITE_P(table, generator_failures, testing::ValuesIn(generators),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(null_arguments, are_refused)
{
    char *json = unwritten;
    uint8_t result = 0;
    EXPECT_EQ(json_generator__result_description(0, nullptr, &json), 4u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(json_generator__get_addresses("a", nullptr, &json), 4u);
    EXPECT_EQ(json_generator__install_profile_result(nullptr, &json, &result), 4u);
    EXPECT_EQ(json_generator__install_profile_result(&installed_profile, &json, nullptr), 4u);
    EXPECT_EQ(json_generator__notification_metadata(nullptr, &json), 4u);
    EXPECT_EQ(json_generator__enable_profile(0, &json, nullptr), 4u);
    EXPECT_EQ(json_generator__enable_profile(0, nullptr, &result), 4u);
    EXPECT_EQ(json, nullptr);
}

} // namespace
