#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/tlv_data_extractor.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace {

std::string repeated(const char *digits, size_t count)
{
    std::string result;
    for (size_t i = 0; i < count; ++i)
        result += digits;
    return result;
}

// --- Operator identifier -------------------------------------------------------------------------------------------

constexpr uint16_t owner_tag = 0xB7;

std::string shown(const OperatorId &id)
{
    std::string text = hex(id.mccMnc, 3);
    text += " " + std::to_string(id.gid1_present) + (id.gid1 ? ":" + hex(id.gid1, id.gid1_length) : "");
    text += " " + std::to_string(id.gid2_present) + (id.gid2 ? ":" + hex(id.gid2, id.gid2_length) : "");
    return text;
}

struct operator_case {
    const char *name, *input;
    uint32_t code;
    const char *stored, *log; // errors
};
class operator_id : public testing::TestWithParam<operator_case> {};

TEST_P(operator_id, gives_code_value_and_log)
{
    const exact_block input(GetParam().input);
    OperatorId id;
    memset(&id, 0xEE, sizeof id);
    log_capture log;
    const uint32_t code = tlv_data_extractor__operator_id(owner_tag, input.data(), input.size(), &id);
    EXPECT_EQ(code, GetParam().code);
    if (code == 0) {
        EXPECT_EQ(shown(id), GetParam().stored);
    } else {
        EXPECT_EQ(hex(id.mccMnc, 3), "EEEEEE");
    }
    EXPECT_EQ(log.at(LOG__ERROR), GetParam().log);
}

TEST_P(operator_id, cut_short_is_never_read_beyond_its_end)
{
    log_capture log;
    for_each_cut(bytes(GetParam().input), [](const exact_block &cut) {
        OperatorId id = {};
        const uint32_t code = tlv_data_extractor__operator_id(owner_tag, cut.data(), cut.size(), &id);
        EXPECT_TRUE(code == 0 || code == 1 || code == 4) << code;
        if (code == 0) {
            EXPECT_FALSE(shown(id).empty()); // reads both group identifiers
        }
    });
}

constexpr const char *no_gid1 = "1 [es10_tlv_extractor__profile_info] gid1 TLV is not present in the OperatorId\n";
constexpr const char *no_gids = "1 [es10_tlv_extractor__profile_info] gid1 TLV is not present in the OperatorId\n"
                                "1 [es10_tlv_extractor__profile_info] gid2 TLV is not present in the OperatorId\n";

INSTANTIATE_TEST_SUITE_P(
    table, operator_id,
    testing::ValuesIn(std::to_array<operator_case>({
        {"all_three", "B7 0C 80 03 24 F6 18 81 02 01 02 82 01 03", 0, "24F618 1:0102 1:03", ""},
        {"in_any_order", "B7 0C 82 01 03 81 02 01 02 80 03 24 F6 18", 0, "24F618 1:0102 1:03", ""},
        {"behind_a_sibling", "5A 01 00 B7 05 80 03 24 F6 18", 0, "24F618 0 0", no_gids},
        {"without_group_identifiers", "B7 05 80 03 24 F6 18", 0, "24F618 0 0", no_gids},
        {"without_gid1", "B7 08 80 03 24 F6 18 82 01 03", 0, "24F618 0 1:03", no_gid1},
        {"empty_gid1_is_present", "B7 0A 80 03 24 F6 18 81 00 82 01 03", 0, "24F618 1: 1:03", ""},
        {"search_goes_on_behind_the_element", "B7 05 80 03 24 F6 18 81 01 07 82 01 08", 0, "24F618 1:07 1:08", ""},
        {"mccMnc_of_two_bytes", "B7 04 80 02 24 F6", 1, "",
         "1 [tlv_data_extractor__operator_id] Unexpected mccMnc size on OperatorId TLV. Expected 3, current 2.\n"},
        {"mccMnc_missing", "B7 03 81 01 01", 1, "",
         "1 [tlv_data_extractor__operator_id] Result code TAG 80 not found\n"},
        {"mccMnc_cut_off", "B7 05 80 03 24", 1, "",
         "1 [tlv_data_extractor__operator_id] Error parsing the mccMnc TLV, rc 1\n"},
        {"mccMnc_of_four_bytes_cut_off", "B7 05 80 04 24 F6 18", 1, "",
         "1 [tlv_data_extractor__operator_id] Unexpected mccMnc size on OperatorId TLV. Expected 3, current 4.\n"},
        {"gid1_cut_off", "B7 08 80 03 24 F6 18 81 02 01", 1, "",
         "1 [tlv_data_extractor__operator_id] Error parsing the gid1 TLV, rc 1\n"},
        {"gid2_cut_off", "B7 0B 80 03 24 F6 18 81 01 01 82 02 01", 1, "",
         "1 [tlv_data_extractor__operator_id] Error parsing the gid2 TLV, rc 1\n"},
        {"element_missing", "B8 05 80 03 24 F6 18", 1, "",
         "1 [tlv_data_extractor__operator_id] Result code TAG B7 not found\n"},
        {"element_empty", "B7 00", 1, "", "1 [tlv_data_extractor__operator_id] Result code TAG 80 not found\n"},
        {"nothing", "", 4, "", "1 [tlv_data_extractor__operator_id] tlv is empty/null\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(operator_id, is_refused_for_a_null_buffer)
{
    OperatorId id = {};
    EXPECT_EQ(tlv_data_extractor__operator_id(owner_tag, nullptr, 5, &id), 4u);
}

TEST(operator_id, logs_where_it_lies)
{
    const exact_block input("B7 0C 80 03 24 F6 18 81 02 01 02 82 01 03");
    OperatorId id = {};
    log_capture log;
    EXPECT_EQ(tlv_data_extractor__operator_id(owner_tag, input.data(), input.size(), &id), 0u);
    EXPECT_EQ(log.up_to(LOG__DEBUG), "4 [tlv_data_extractor__operator_id] operatorId TLV\n"
                                     "4 B7 0C 80 03 24 F6 18 81 02 01 02 82 01 03 \n"
                                     "4 [tlv_data_extractor__operator_id] PROFILE_INFO_OWNER TAG found at 2\n");
}

// --- ProfileInfo ---------------------------------------------------------------------------------------------------

struct profile {
    uint8_t iccid_present = 0xEE, iccid[10] = {}, state_present = 0xEE, state = 0xEE;
    char nickname[PROFILE_NICKNAME_TEXT_SIZE] = "?";
    char service_provider_name[SERVICE_PROVIDER_NAME_TEXT_SIZE] = "?";
    char profile_name[PROFILE_NAME_TEXT_SIZE] = "?";

    uint32_t read(const uint8_t *buffer, uint32_t size)
    {
        return tlv_data_extractor__profile_info(buffer, size, &iccid_present, iccid, &state_present, &state, nickname,
                                                service_provider_name, profile_name);
    }
    std::string shown() const
    {
        std::string text = iccid_present == 1 ? hex(iccid, 10) : std::to_string(iccid_present);
        text += " " + (state_present == 1 ? hex(&state, 1) : std::to_string(state_present));
        return text + " '" + nickname + "' '" + service_provider_name + "' '" + profile_name + "'";
    }
};

struct profile_case {
    const char *name;
    std::string input;
    uint32_t code;
    std::string stored;
    const char *log; // errors
};
void PrintTo(const profile_case &tested, std::ostream *out) { *out << tested.name; }
class profile_info : public testing::TestWithParam<profile_case> {};

TEST_P(profile_info, gives_code_values_and_log)
{
    const exact_block input(GetParam().input);
    profile read;
    log_capture log;
    EXPECT_EQ(read.read(input.data(), input.size()), GetParam().code);
    EXPECT_EQ(read.shown(), GetParam().stored);
    EXPECT_EQ(log.at(LOG__ERROR), GetParam().log);
}

TEST_P(profile_info, cut_short_is_never_read_beyond_its_end)
{
    log_capture log;
    for_each_cut(bytes(GetParam().input), [](const exact_block &cut) {
        profile read;
        const uint32_t code = read.read(cut.data(), cut.size());
        EXPECT_TRUE(code == 0 || code == 1 || code == 4) << code;
    });
}

const std::string untouched = "238 238 '?' '?' '?'";
const std::string nothing_found = "0 0 '' '' ''";

const profile_case profile_cases[] = {
    {"every_field",
     "E3 22 5A 0A 98 10 32 54 76 98 10 32 54 F6 9F 70 01 01 90 02 41 42 91 02 43 44 92 02 45 46 95 01 02", 0,
     "8901234567890123456F 01 'AB' 'CD' 'EF'", ""},
    {"no_field", "E3 00", 0, nothing_found, ""},
    {"empty_texts", "E3 06 90 00 91 00 92 00", 0, nothing_found, ""},
    {"other_fields_alone", "E3 0A 95 01 02 B7 05 80 03 24 F6 18", 0, nothing_found, ""},
    {"behind_a_sibling", "80 00 E3 04 9F 70 01 00", 0, "0 00 '' '' ''", ""},
    {"walk_goes_on_to_the_end_of_the_buffer", "E3 03 90 01 41 92 01 42", 0, "0 0 'A' '' 'B'", ""},
    {"nickname_of_64_bytes", "E3 42 90 40" + repeated("61", 64), 0, "0 0 '" + std::string(64, 'a') + "' '' ''", ""},
    {"nickname_of_65_bytes", "E3 43 90 41" + repeated("61", 65), 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong profileNickname length [65]\n"},
    {"service_provider_name_of_32_bytes", "E3 22 91 20" + repeated("61", 32), 0,
     "0 0 '' '" + std::string(32, 'a') + "' ''", ""},
    {"service_provider_name_of_33_bytes", "E3 23 91 21" + repeated("61", 33), 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong serviceProviderName length [33]\n"},
    {"profile_name_of_64_bytes", "E3 42 92 40" + repeated("61", 64), 0, "0 0 '' '' '" + std::string(64, 'a') + "'", ""},
    {"profile_name_of_65_bytes", "E3 43 92 41" + repeated("61", 65), 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong profileName length [65]\n"},
    {"iccid_of_nine_bytes", "E3 0B 5A 09 98 10 32 54 76 98 10 32 54", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong iccid length [9]\n"},
    {"state_of_two_bytes", "E3 05 9F 70 02 00 01", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong profileState length [2]\n"},
    {"fields_before_a_wrong_one_stay", "E3 08 90 01 41 9F 70 02 00 01", 1, "0 0 'A' '' ''",
     "1 [tlv_data_extractor__profile_info] Wrong profileState length [2]\n"},
    {"child_cut_off", "E3 05 90 03 41", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc 1\n"},
    {"unknown_child_cut_off", "E3 05 95 10 A0 A1 A2", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc 1\n"},
    {"iccid_cut_off", "E3 05 5A 0A 98 10 32", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc 1\n"},
    {"state_cut_off", "E3 04 9F 70 01", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc 1\n"},
    {"iccid_of_nine_bytes_cut_off", "E3 05 5A 09 98 10 32", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong iccid length [9]\n"},
    {"state_of_two_bytes_cut_off", "E3 04 9F 70 02 01", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong profileState length [2]\n"},
    {"nickname_of_65_bytes_cut_off", "E3 05 90 41 61 61 61", 1, nothing_found,
     "1 [tlv_data_extractor__profile_info] Wrong profileNickname length [65]\n"},
    {"child_with_four_length_bytes", "E3 06 90 84 00 00 00 00", 1, nothing_found,
     "1 At position 3 the len is more then 3 [4]\n"
     "1 could not get the data length of the TLV, offset=3\n"
     "1 [tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc 1\n"},
    {"element_missing", "E4 03 90 01 41", 1, untouched,
     "1 [tlv_data_extractor__profile_info] ProfileInfo TAG 0xE3 not found\n"},
    {"nothing", "", 4, untouched, "1 [tlv_data_extractor__profile_info] tlv is empty/null\n"},
};

INSTANTIATE_TEST_SUITE_P(table, profile_info, testing::ValuesIn(profile_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(profile_info, is_refused_for_a_null_buffer)
{
    profile read;
    EXPECT_EQ(read.read(nullptr, 5), 4u);
    EXPECT_EQ(read.shown(), untouched);
}

TEST(profile_info, logs_each_field_at_debug_level)
{
    const exact_block input(
        "E3 22 5A 0A 98 10 32 54 76 98 10 32 54 F6 9F 70 01 01 90 02 41 42 91 02 43 44 92 02 45 46 95 01 02");
    profile read;
    log_capture log;
    EXPECT_EQ(read.read(input.data(), input.size()), 0u);
    const std::string expected =
        "4 [tlv_data_extractor__profile_info] tlv\n"
        "4 E3 22 5A 0A 98 10 32 54 76 98 10 32 54 F6 9F 70\n"
        "4 01 01 90 02 41 42 91 02 43 44 92 02 45 46 95 01\n"
        "4 02 \n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo value\n"
        "4 5A 0A 98 10 32 54 76 98 10 32 54 F6 9F 70 01 01\n"
        "4 90 02 41 42 91 02 43 44 92 02 45 46 95 01 02 \n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo iccid\n"
        "4 89 01 23 45 67 89 01 23 45 6F \n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo profileState 01\n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo profileNickname AB\n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo serviceProviderName CD\n"
        "4 [tlv_data_extractor__profile_info] ProfileInfo profileName EF\n"
        "4 [tlv_data_extractor__profile_info] Profile tag found not included in tlv_data_extractor__profile_info [0x0095]\n";
    EXPECT_EQ(log.up_to(LOG__DEBUG), expected);
    EXPECT_TRUE(
        log.contains("[tlv_data_extractor__profile_info] Attribute TLV parsed: tag=[005A], nTag=01, len=[10] nLen=01"));
    EXPECT_TRUE(
        log.contains("[tlv_data_extractor__profile_info] Attribute TLV parsed: tag=[9F70], nTag=02, len=[1] nLen=01"));
    EXPECT_TRUE(log.at(LOG__TRACE).ends_with("5 [tlv_data_extractor__profile_info] ProfileInfo child value\n5 02 \n"));
}

TEST(profile_info, dumps_only_the_value_of_the_first)
{
    const exact_block input("E3 03 90 01 41 E3 00");
    profile read;
    log_capture log;
    EXPECT_EQ(read.read(input.data(), input.size()), 0u);
    EXPECT_TRUE(log.up_to(LOG__DEBUG).find("ProfileInfo value\n4 90 01 41 \n") != std::string::npos);
}

TEST(hostile_input, never_leads_the_profile_readers_outside_the_buffer)
{
    log_capture quiet(0);
    for_random_blocks(20000, [](const exact_block &input) {
        profile read;
        EXPECT_LE(read.read(input.data(), input.size()), 4u);
        OperatorId id = {};
        if (tlv_data_extractor__operator_id(0xA0, input.data(), input.size(), &id) == 0) {
            EXPECT_FALSE(shown(id).empty());
        }
    });
}

} // namespace
