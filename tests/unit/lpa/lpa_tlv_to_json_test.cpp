#include "foundation/owned_bytes.h"
#include "lpa/lpa_tlv_to_json.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/lpa/scripted_card.h"
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>

namespace {

struct outcome {
    uint32_t rc = 0;
    std::string json; // "(null)" when there is none
    int flag = 0;
    bool operator==(const outcome &) const = default;
};

std::ostream &operator<<(std::ostream &out, const outcome &outcome)
{
    return out << outcome.rc << " " << outcome.json << " flag " << outcome.flag;
}

using converter = uint32_t (*)(const uint8_t *response, uint32_t length, char **json, uint8_t *flag);

template <auto Convert>
constexpr converter without_flag =
    [](const uint8_t *response, uint32_t length, char **json, uint8_t *) { return Convert(response, length, json); };
constexpr converter eid = without_flag<lpa_tlv_to_json__get_euicc_data_response>;
constexpr converter profiles = without_flag<lpa_tlv_to_json__profile_info_list_response>;
constexpr converter addresses = without_flag<lpa_tlv_to_json__euicc_configured_addresses_response>;
constexpr converter notifications = without_flag<lpa_tlv_to_json__list_notifications>;
constexpr converter installation = lpa_tlv_to_json__profile_installation_result;
constexpr converter enable = lpa_tlv_to_json__enable_profile_response;
constexpr converter disable = lpa_tlv_to_json__disable_profile_response;
constexpr converter remove_profile = lpa_tlv_to_json__delete_profile_response;
constexpr converter nickname = [](const uint8_t *response, uint32_t length, char **json, uint8_t *flag) {
    return lpa_tlv_to_json__set_nickname_response(response, length, 0, json, flag);
};
constexpr converter no_nickname = [](const uint8_t *response, uint32_t length, char **json, uint8_t *flag) {
    return lpa_tlv_to_json__set_nickname_response(response, length, 1, json, flag);
};
constexpr converter address = [](const uint8_t *response, uint32_t length, char **json, uint8_t *flag) {
    return lpa_tlv_to_json__set_default_dp_address_response(response, length, 0, json, flag);
};
constexpr converter no_address = [](const uint8_t *response, uint32_t length, char **json, uint8_t *flag) {
    return lpa_tlv_to_json__set_default_dp_address_response(response, length, 1, json, flag);
};

// The answer lies in a heap block of its own size, so that a read behind it is found.
outcome convert(converter converter, const std::vector<uint8_t> &answer)
{
    const std::unique_ptr<uint8_t[]> block(new uint8_t[answer.size()]);
    std::copy(answer.begin(), answer.end(), block.get());
    static char unwritten[] = "unwritten";
    owned_text json;
    json.data = unwritten;
    uint8_t flag = 0;
    const uint32_t rc = converter(block.get(), static_cast<uint32_t>(answer.size()), &json.data, &flag);
    return {rc, json.data ? json.data : "(null)", flag};
}

outcome convert(converter converter, const std::string &answer_hex) { return convert(converter, bytes(answer_hex)); }

std::vector<uint8_t> first_bytes(const std::vector<uint8_t> &bytes, size_t count)
{
    return {bytes.begin(), bytes.begin() + static_cast<long>(count)};
}

const std::string first_iccid = tlv("5A", "981032547698103254F6");
const std::string second_iccid = tlv("5A", "98103254769810325417");
const std::string test_iccid = tlv("5A", "98001032547698103214"); // the GSMA test profile's
const std::string first_profile = tlv("E3", first_iccid + tlv("9F70", "01") + tlv("90", text_hex("nick")) +
                                                tlv("91", text_hex("prov")) + tlv("92", text_hex("name")));
const std::string second_profile = tlv("E3", second_iccid + tlv("9F70", "00"));
const std::string test_profile = tlv("E3", test_iccid + tlv("9F70", "01"));
const std::string nameless_profile = tlv("E3", tlv("9F70", "01"));

std::string profile_list(const std::string &elements) { return tlv("BF2D", tlv("A0", elements)); }

constexpr const char *first_json =
    R"({"iccid":"8901234567890123456","status":1,"nickname":"nick","provider":"prov","name":"name","bootstrap":0})";
constexpr const char *second_json = R"({"iccid":"89012345678901234571","status":0,"bootstrap":0})";

std::string metadata(const std::string &fields) { return tlv("BF2F", fields); }
const std::string install_notification =
    metadata(tlv("80", "05") + tlv("81", "0780") + tlv("0C", text_hex("a.example")) + first_iccid);
const std::string delete_notification =
    metadata(tlv("80", "0102") + tlv("81", "0410") + tlv("0C", text_hex("b.example")));
std::string notification_list(const std::string &elements) { return tlv("BF28", tlv("A0", elements)); }

std::string installation_result(const std::string &final_result, const std::string &iccid)
{
    const std::string notification =
        metadata(tlv("80", "05") + tlv("81", "0780") + tlv("0C", text_hex("a.example")) + iccid);
    return tlv("BF37",
               tlv("BF27", tlv("80", "0102030405060708") + notification + tlv("06", "8837") + tlv("A2", final_result)) +
                   tlv("5F37", "00112233"));
}
const std::string success = tlv("A0", tlv("4F", "A0000005591010FFFFFFFF8900001100") + tlv("04", "3000"));
std::string error_reason(const std::string &reason) { return tlv("A1", tlv("80", "03") + tlv("81", reason)); }

struct conversion_case {
    const char *name;
    converter convert;
    std::string answer;
    outcome expected;
    const char *log; // at level 1 from lpa/, "" when there is nothing
};

void PrintTo(const conversion_case &row, std::ostream *out) { *out << row.answer; }

class conversion : public lpa_test, public testing::WithParamInterface<conversion_case> {};
class good_conversion : public conversion {};

// Lines of the converters themselves: decoders and parsers below them have tests of their own.
std::string own_lines(const log_capture &log, int level)
{
    std::string result;
    for (const auto &line : log.lines())
        if (line.level == level && (line.text.find("[lpa_tlv_") != std::string::npos ||
                                    line.text.starts_with("[json_generator__ProfileInfoListResponse]")))
            result += line.text + "\n";
    return result;
}

TEST_P(conversion, gives_document_and_log)
{
    log_capture log;
    EXPECT_EQ(convert(GetParam().convert, GetParam().answer), GetParam().expected);
    EXPECT_EQ(own_lines(log, 1), GetParam().log);
}

// Runs each converter on its answer cut short at every byte: never a document, never a read behind the end.
TEST_P(good_conversion, of_a_cut_answer_fails)
{
    const auto answer = bytes(GetParam().answer);
    for (size_t length = 0; length < answer.size(); ++length) {
        const outcome cut = convert(GetParam().convert, first_bytes(answer, length));
        EXPECT_NE(cut.rc, 0u) << "cut to " << length;
        EXPECT_EQ(cut.json, "(null)") << "cut to " << length;
        EXPECT_EQ(cut.flag, 0) << "cut to " << length;
    }
}

TEST_P(good_conversion, without_memory_gives_9_for_every_allocation)
{
    for (int nth = 1;; ++nth) {
        failing_memory failing(nth);
        const outcome starved = convert(GetParam().convert, GetParam().answer);
        if (!failing_memory::reached()) {
            EXPECT_GT(nth, 1);
            EXPECT_EQ(starved, GetParam().expected);
            return;
        }
        EXPECT_EQ(starved, (outcome{9, "(null)", 0})) << "allocation " << nth;
    }
}

#define PROFILES "[lpa_tlv_to_json__profile_info_list_response] "
#define NOTIFICATIONS "[lpa_tlv_to_json__list_notifications] "

// clang-format off
const std::vector<conversion_case> conversions = {
    {"eid", eid, "BF3E125A1089049032123451234512345678901235", {0, R"({"eid":"89049032123451234512345678901235"})", 0}, ""},
    {"eid_of_15_bytes", eid, "BF3E115A0F890490321234512345123456789012", {1, "(null)", 0}, ""},
    {"eid_without_its_outer_tag", eid, "5A1089049032123451234512345678901235", {1, "(null)", 0}, ""},

    {"no_profiles", profiles, profile_list(""), {0, "[]", 0}, ""},
    {"one_profile", profiles, profile_list(first_profile), {0, std::string("[") + first_json + "]", 0}, ""},
    {"two_profiles_joined_by_a_comma", profiles, profile_list(first_profile + second_profile), {0, std::string("[") + first_json + "," + second_json + "]", 0}, ""},
    {"the_gsma_test_profile_is_left_out", profiles, profile_list(test_profile + second_profile + test_profile), {0, std::string("[") + second_json + "]", 0}, ""},
    {"only_the_gsma_test_profile", profiles, profile_list(test_profile), {0, "[]", 0}, ""},
    {"a_profile_without_iccid_is_listed", profiles, profile_list(nameless_profile), {0, R"([{"status":1,"bootstrap":0}])", 0}, ""},
    {"elements_that_are_no_profile_are_passed_over", profiles, profile_list(tlv("E4", "01") + second_profile), {0, std::string("[") + second_json + "]", 0}, ""},
    {"another_element_before_the_list", profiles, tlv("BF2D", tlv("82", "00") + tlv("A0", second_profile)), {0, std::string("[") + second_json + "]", 0}, ""},
    {"profile_list_without_outer_tag", profiles, tlv("BF2E", tlv("A0", "")), {1, "(null)", 0}, PROFILES "ProfileInfoListResponse TAG 0xBF2D not found\n"},
    {"profile_list_error", profiles, tlv("BF2D", tlv("A1", "01")), {1, "(null)", 0}, PROFILES "ProfileInfoListError found at offset 3\n"},
    {"profile_list_neither_ok_nor_error", profiles, tlv("BF2D", tlv("81", "01")), {1, "(null)", 0}, PROFILES "ProfileInfoListOk TAG 0xA0 not found\n"},
    {"empty_profile_response", profiles, "BF2D00", {1, "(null)", 0}, PROFILES "ProfileInfoListOk TAG 0xA0 not found\n"},
    {"a_list_beside_the_response_is_not_its_own", profiles, "BF2D00" + tlv("A0", second_profile), {1, "(null)", 0}, PROFILES "ProfileInfoListOk TAG 0xA0 not found\n"},
    {"profile_of_unreadable_length", profiles, profile_list("E384"), {1, "(null)", 0}, PROFILES "ber_tlv_parser__get_tlv_bytes_count failed, rc 1\n"},
    {"profile_longer_than_the_answer", profiles, profile_list("E3055A"), {1, "(null)", 0}, PROFILES "ber_tlv_parser__get_tlv_bytes_count failed, rc 1\n"},
    {"list_longer_than_the_answer", profiles, "BF2D04A0040000", {1, "(null)", 0}, PROFILES "ber_tlv_parser__get_tlv_bytes_count failed, rc 1\n"},
    {"profile_with_a_bad_field", profiles, profile_list(second_profile + tlv("E3", tlv("5A", "9810"))), {1, "(null)", 0}, PROFILES "json_generator__ProfileInfo failed, rc 1\n"},

    {"both_addresses", addresses, tlv("BF3C", tlv("80", text_hex("dp.example")) + tlv("81", text_hex("ds.example"))), {0, R"({"smds":"ds.example","smdp":"dp.example"})", 0}, ""},
    {"root_smds_alone", addresses, tlv("BF3C", tlv("81", text_hex("ds.example"))), {0, R"({"smds":"ds.example"})", 0}, ""},
    {"empty_default_smdp_address", addresses, tlv("BF3C", "8000" + tlv("81", text_hex("ds.example"))), {0, R"({"smds":"ds.example","smdp":""})", 0}, ""},
    {"addresses_without_root_smds", addresses, tlv("BF3C", tlv("80", text_hex("dp.example"))), {1, "(null)", 0}, "[lpa_tlv_to_json__euicc_configured_addresses_response] tlv_data_extractor__get_addresses failed, rc 1\n"},

    {"no_notifications", notifications, notification_list(""), {0, "[]", 0}, ""},
    {"one_notification", notifications, notification_list(install_notification), {0, R"([{"sequence_number":5,"event":0,"address":"a.example","iccid":"8901234567890123456"}])", 0}, ""},
    {"two_notifications_joined_by_a_comma", notifications, notification_list(install_notification + delete_notification), {0, R"([{"sequence_number":5,"event":0,"address":"a.example","iccid":"8901234567890123456"},{"sequence_number":258,"event":3,"address":"b.example"}])", 0}, ""},
    {"notification_list_error", notifications, tlv("BF28", tlv("81", "7F")), {1, "(null)", 0}, NOTIFICATIONS "ListNotificationResponse CHOICE is not notificationMetadataList. CHOICE 1\n"},
    {"notification_list_of_another_kind", notifications, tlv("BF28", tlv("82", "7F")), {1, "(null)", 0}, NOTIFICATIONS "Error extracting the data from the ListNotificationResponse, rc 1\n"},
    {"notification_with_a_missing_field", notifications, notification_list(metadata(tlv("80", "05"))), {1, "(null)", 0}, NOTIFICATIONS "Error extracting the data from the NotificationMetadata, rc 1\n"},
    {"notification_of_another_tag", notifications, notification_list(tlv("80", "05")), {1, "(null)", 0}, NOTIFICATIONS "Error iterating over the notificationMetadataList SEQUENCE, rc 1\n"},
    {"notification_with_an_iccid_in_neither_order", notifications, notification_list(metadata(tlv("80", "05") + tlv("81", "0780") + tlv("0C", "61") + tlv("5A", "21103254769810325476"))), {4, "(null)", 0}, NOTIFICATIONS "Error generating the notification metadata JSON, rc 4\n"},

    {"installed", installation, installation_result(success, first_iccid), {0, R"({"result":0,"description":"Profile installed","iccid":"8901234567890123456"})", 0}, ""},
    {"installed_without_iccid", installation, installation_result(success, ""), {0, R"({"result":0,"description":"Profile installed"})", 0}, ""},
    {"not_installed_sets_the_flag", installation, installation_result(error_reason("0A"), first_iccid), {0, R"({"result":10,"description":"Profile not installed. Install failed due to insufficient memory for profile"})", 1}, ""},
    {"installation_result_of_unknown_reason", installation, installation_result(error_reason("10"), first_iccid), {1, "(null)", 0}, "[lpa_tlv_to_json__profile_installation_result] Error extracting data from the ProfileInstallationResult, rc 1\n"},

    {"enabled", enable, "BF3103800100", {0, R"({"result":0,"description":"Profile enabled"})", 0}, ""},
    {"not_enabled_sets_the_flag", enable, "BF3103800102", {0, R"({"result":2,"description":"Profile not enabled. The profile was not in disabled state"})", 1}, ""},
    {"enable_result_127", enable, "BF310380017F", {0, R"({"result":127,"description":"Profile not enabled. Undefined error"})", 1}, ""},
    {"undefined_enable_result", enable, "BF3103800106", {1, "(null)", 0}, "[lpa_tlv_to_json__enable_profile_response] Error extracting the data from the EnableProfileResponse, rc 1\n"},
    {"disabled", disable, "BF3203800100", {0, R"({"result":0,"description":"Profile disabled"})", 0}, ""},
    {"not_disabled_sets_the_flag", disable, "BF3203800103", {0, R"({"result":3,"description":"Profile not disabled. Disallowed by policy"})", 1}, ""},
    {"undefined_disable_result", disable, "BF3203800104", {1, "(null)", 0}, "[lpa_tlv_to_json__disable_profile_response] Error extracting the data from the DisableProfileResponse, rc 1\n"},
    {"deleted", remove_profile, "BF3303800100", {0, R"({"result":0,"description":"Profile deleted"})", 0}, ""},
    {"not_deleted_sets_the_flag", remove_profile, "BF3303800101", {0, R"({"result":1,"description":"Profile not deleted. Profile ICCID or application AID not found"})", 1}, ""},
    {"undefined_delete_result", remove_profile, "BF3303800105", {1, "(null)", 0}, "[lpa_tlv_to_json__delete_profile_response] Error extracting the data from the DeleteProfileResponse, rc 1\n"},
    {"nickname_set", nickname, "BF2903800100", {0, R"({"result":0,"description":"Nickname has been set"})", 0}, ""},
    {"nickname_removed", no_nickname, "BF2903800100", {0, R"({"result":0,"description":"Nickname removed"})", 0}, ""},
    {"nickname_not_set_sets_the_flag", nickname, "BF2903800101", {0, R"({"result":1,"description":"Nickname not set. Profile ICCID not found"})", 1}, ""},
    {"undefined_nickname_result", nickname, "BF2903800102", {1, "(null)", 0}, "[lpa_tlv_to_json__set_nickname_response] Error extracting the data from the SetNicknameResponse, rc 1\n"},
    {"address_changed", address, "BF3F03800100", {0, R"({"result":0,"description":"Default SM-DP+ address changed"})", 0}, ""},
    {"address_removed", no_address, "BF3F03800100", {0, R"({"result":0,"description":"Default SM-DP+ address removed"})", 0}, ""},
    {"address_not_changed_sets_the_flag", address, "BF3F0380017F", {0, R"({"result":127,"description":"Default SM-DP+ address not changed. Undefined error"})", 1}, ""},
    {"undefined_address_result", address, "BF3F03800101", {1, "(null)", 0}, "[lpa_tlv_to_json__set_default_dp_address_response] Error extracting the data from the SetDefaultDpAddressResponse, rc 1\n"},
};
// clang-format on

std::vector<conversion_case> good_conversions()
{
    std::vector<conversion_case> result;
    std::ranges::copy_if(conversions, std::back_inserter(result),
                         [](const conversion_case &row) { return row.expected.rc == 0; });
    return result;
}

std::string name_of(const testing::TestParamInfo<conversion_case> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(table, conversion, testing::ValuesIn(conversions), name_of);
INSTANTIATE_TEST_SUITE_P(table, good_conversion, testing::ValuesIn(good_conversions()), name_of);

struct empty_case {
    const char *name;
    converter convert;
    const char *log;
};
class empty_answer : public lpa_test, public testing::WithParamInterface<empty_case> {};

TEST_P(empty_answer, gives_4_and_no_document)
{
    static char unwritten[] = "unwritten";
    const uint8_t byte = 0;
    for (const uint8_t *response : {static_cast<const uint8_t *>(nullptr), &byte}) {
        log_capture log;
        char *json = unwritten;
        uint8_t flag = 0;
        EXPECT_EQ(GetParam().convert(response, response ? 0 : 5, &json, &flag), 4u);
        EXPECT_EQ(json, nullptr);
        EXPECT_EQ(flag, 0);
        EXPECT_EQ(own_lines(log, 1), GetParam().log);
    }
}

TEST_P(empty_answer, and_no_place_for_the_document)
{
    uint8_t flag = 0;
    EXPECT_EQ(GetParam().convert(reinterpret_cast<const uint8_t *>("\xBF\x2D"), 2, nullptr, &flag), 4u);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, empty_answer, testing::ValuesIn(std::to_array<empty_case>({
    {"eid", eid, ""},
    {"profiles", profiles, PROFILES "profile_info_list_response is empty/null\n"},
    {"addresses", addresses, "[lpa_tlv_to_json__euicc_configured_addresses_response] tlv_data_extractor__get_addresses failed, rc 4\n"},
    {"notifications", notifications, NOTIFICATIONS "Error extracting the data from the ListNotificationResponse, rc 4\n"},
    {"installation", installation, "[lpa_tlv_to_json__profile_installation_result] ProfileInstallationResult is empty/null\n"},
    {"enable", enable, "[lpa_tlv_to_json__enable_profile_response] Error extracting the data from the EnableProfileResponse, rc 4\n"},
    {"disable", disable, "[lpa_tlv_to_json__disable_profile_response] Error extracting the data from the DisableProfileResponse, rc 4\n"},
    {"delete_profile", remove_profile, "[lpa_tlv_to_json__delete_profile_response] Error extracting the data from the DeleteProfileResponse, rc 4\n"},
    {"nickname", nickname, "[lpa_tlv_to_json__set_nickname_response] Error extracting the data from the SetNicknameResponse, rc 4\n"},
    {"address", address, "[lpa_tlv_to_json__set_default_dp_address_response] Error extracting the data from the SetDefaultDpAddressResponse, rc 4\n"},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

class converter_log : public lpa_test {};

struct value_case {
    converter convert;
    const char *answer, *line;
};

TEST_F(converter_log, tells_the_cards_result)
{
    const value_case cases[] = {
        {enable, "BF3103800102", "[lpa_tlv_to_json__enable_profile_response] enableResult 2\n"},
        {disable, "BF3203800102", "[lpa_tlv_to_json__disable_profile_response] disableResult 2\n"},
        {remove_profile, "BF3303800102", "[lpa_tlv_to_json__delete_profile_response] deleteResult 2\n"},
        {nickname, "BF2903800101", "[lpa_tlv_to_json__set_nickname_response] setNicknameResult 1\n"},
        {address, "BF3F0380017F", "[lpa_tlv_to_json__set_default_dp_address_response] setDefaultDpAddressResult 127\n"},
    };
    for (const auto &[converter, answer, line] : cases) {
        log_capture log;
        convert(converter, std::string(answer));
        EXPECT_EQ(own_lines(log, 4), line);
    }
}

TEST_F(converter_log, tells_the_addresses)
{
    log_capture log;
    convert(addresses, tlv("BF3C", tlv("80", text_hex("dp.example")) + tlv("81", text_hex("ds.example"))));
    EXPECT_EQ(own_lines(log, 4),
              "[lpa_tlv_to_json__euicc_configured_addresses_response] defaultDpAddress [dp.example]\n"
              "[lpa_tlv_to_json__euicc_configured_addresses_response] rootDsAddress [ds.example]\n");
}

struct memory_case {
    converter convert;
    std::string answer;
    int allocation;
    const char *log;
};

TEST_F(converter_log, tells_which_memory_is_missing)
{
    const std::string both = tlv("BF3C", tlv("80", "61") + tlv("81", "62"));
    const memory_case cases[] = {
        {profiles, profile_list(first_profile), 1, PROFILES "Can't allocate data to json\n"},
        {profiles, profile_list(first_profile), 2, PROFILES "json_generator__profile_info failed at offset 5, rc 9\n"},
        {profiles, profile_list(first_profile), 3, PROFILES "Can't reallocate data to json_profiles_list\n"},
        {addresses, both, 1,
         "[lpa_tlv_to_json__euicc_configured_addresses_response] Can't allocate memory to default_dp_address\n"},
        {addresses, both, 2,
         "[lpa_tlv_to_json__euicc_configured_addresses_response] Can't allocate memory to root_ds_address\n"},
        {addresses, both, 3,
         "[lpa_tlv_to_json__euicc_configured_addresses_response] json_generator__get_addresses failed, rc 9\n"},
        {notifications, notification_list(install_notification), 1, NOTIFICATIONS "Can't allocate data to json\n"},
        {notifications, notification_list(install_notification), 2,
         NOTIFICATIONS "Error generating the notification metadata JSON, rc 9\n"},
        {notifications, notification_list(install_notification), 3,
         "[json_generator__ProfileInfoListResponse] Can't reallocate data to json_profiles_list\n"},
    };
    for (const auto &[converter, answer, allocation, expected] : cases) {
        log_capture log;
        failing_memory failing(allocation);
        EXPECT_EQ(convert(converter, answer), (outcome{9, "(null)", 0}));
        EXPECT_TRUE(failing_memory::reached());
        EXPECT_EQ(own_lines(log, 1), expected);
    }
}

TEST_F(converter_log, free_memory_needs_no_answer)
{
    owned_text json;
    EXPECT_EQ(lpa_tlv_to_json__free_memory_response(65536, &json.data), 0u);
    EXPECT_STREQ(json.data, R"({"free_memory":65536})");
}

TEST_F(converter_log, a_missing_flag_is_refused)
{
    const auto enabled = bytes("BF3103800100");
    char *json = nullptr;
    EXPECT_EQ(lpa_tlv_to_json__enable_profile_response(enabled.data(), 6, &json, nullptr), 4u);
    EXPECT_EQ(lpa_tlv_to_json__profile_installation_result(enabled.data(), 6, &json, nullptr), 4u);
    EXPECT_EQ(json, nullptr);
}

TEST_F(converter_log, a_result_that_is_ok_leaves_the_flag_as_it_was)
{
    const auto enabled = bytes("BF3103800100");
    owned_text json;
    uint8_t flag = 7;
    EXPECT_EQ(lpa_tlv_to_json__enable_profile_response(enabled.data(), 6, &json.data, &flag), 0u);
    EXPECT_EQ(flag, 7);
}

// ---- Profiles as records ------------------------------------------------------------------------------------------

struct records_case {
    const char *name;
    std::string answer;
    uint32_t rc;
    std::string records; // "1 8901.. 0 8901.."
    const char *log;
};
void PrintTo(const records_case &row, std::ostream *out) { *out << row.answer; }

class profile_records : public lpa_test, public testing::WithParamInterface<records_case> {};

struct parsed {
    uint32_t rc;
    std::string records;
};

parsed parse(const std::vector<uint8_t> &answer)
{
    const std::unique_ptr<uint8_t[]> block(new uint8_t[answer.size()]);
    std::copy(answer.begin(), answer.end(), block.get());
    owned<LpaProfileRecord> records;
    uint32_t count = 99;
    const uint32_t rc = lpa_tlv_parse_profile_info_list_response(block.get(), static_cast<uint32_t>(answer.size()),
                                                                 &records.data, &count);
    std::string text;
    for (uint32_t i = 0; i < count; ++i)
        text += std::to_string(records.data[i].state) + " " + records.data[i].iccid + " ";
    EXPECT_EQ(records.data == nullptr, count == 0);
    return {rc, text};
}

TEST_P(profile_records, gives_records_and_log)
{
    log_capture log;
    const parsed result = parse(bytes(GetParam().answer));
    EXPECT_EQ(result.rc, GetParam().rc);
    EXPECT_EQ(result.records, GetParam().records);
    EXPECT_EQ(own_lines(log, 1), GetParam().log);
}

TEST_P(profile_records, of_a_cut_answer_fails)
{
    const auto answer = bytes(GetParam().answer);
    for (size_t length = 0; length < answer.size(); ++length) {
        const parsed cut = parse(first_bytes(answer, length));
        EXPECT_NE(cut.rc, 0u) << "cut to " << length;
        EXPECT_EQ(cut.records, "") << "cut to " << length;
    }
}

#define RECORDS "[lpa_tlv_parse_profile_info_list_response] "
// clang-format off
INSTANTIATE_TEST_SUITE_P(table, profile_records, testing::ValuesIn(std::to_array<records_case>({
    {"none", profile_list(""), 0, "", ""},
    {"two", profile_list(first_profile + second_profile), 0, "1 8901234567890123456 0 89012345678901234571 ", ""},
    {"the_gsma_test_profile_is_left_out", profile_list(test_profile + second_profile), 0, "0 89012345678901234571 ", ""},
    {"a_profile_without_iccid_is_left_out", profile_list(nameless_profile + second_profile), 0, "0 89012345678901234571 ", ""},
    {"a_profile_without_state_has_state_0", profile_list(tlv("E3", first_iccid)), 0, "0 8901234567890123456 ", ""},
    {"no_outer_tag", tlv("BF2E", ""), 1, "", RECORDS "ProfileInfoListResponse TAG 0xBF2D not found\n"},
    {"the_error_line_has_a_doubled_bracket", tlv("BF2D", tlv("A1", "01")), 1, "", "[" RECORDS "ProfileInfoListError found at offset 3\n"},
    {"no_list", tlv("BF2D", ""), 1, "", RECORDS "ProfileInfoListOk TAG 0xA0 not found\n"},
    {"unreadable_length", profile_list(second_profile + "E384"), 1, "", RECORDS "ber_tlv_parser__get_tlv_bytes_count failed, rc 1\n"},
    {"bad_field", profile_list(second_profile + tlv("E3", tlv("5A", "9810"))), 1, "", RECORDS "json_generator__ProfileInfo failed, rc 1\n"},
    {"empty", "", 4, "", RECORDS "profile_info_list_response is empty/null\n"},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST_F(converter_log, records_without_memory)
{
    const auto answer = bytes(profile_list(first_profile + second_profile));
    for (int nth = 1; nth <= 2; ++nth) {
        log_capture log;
        failing_memory failing(nth);
        const parsed result = parse(answer);
        EXPECT_TRUE(failing_memory::reached());
        EXPECT_EQ(result.rc, 9u);
        EXPECT_EQ(result.records, "");
        EXPECT_EQ(own_lines(log, 1), RECORDS "Can't reallocate data to profile_info\n");
    }
}

TEST_F(converter_log, records_without_a_place_are_refused)
{
    const auto answer = bytes(profile_list(first_profile));
    LpaProfileRecord *records = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(lpa_tlv_parse_profile_info_list_response(answer.data(), 1, nullptr, &count), 4u);
    EXPECT_EQ(lpa_tlv_parse_profile_info_list_response(answer.data(), 1, &records, nullptr), 4u);
}

} // namespace
