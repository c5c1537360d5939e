#include "foundation/log.h"
#include "rsp/activation_code.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <gtest/gtest.h>
#include <string>

namespace {
const std::string tag = "[rsp__parse_activation_code] ";

std::vector<uint8_t> characters(std::string_view text) { return {text.begin(), text.end()}; }

std::string text_of(const uint8_t *start, uint8_t length)
{
    return start ? std::string(start, start + length) : "(null)";
}

struct good_case {
    const char *name;
    std::string code;
    std::string address, token, oid; // "(null)" without OID
    uint8_t cc_required;
    const char *warning;
};
class good_activation_code : public testing::TestWithParam<good_case> {};

TEST_P(good_activation_code, is_split)
{
    const exact_block code(characters(GetParam().code));
    ActivationCodeInfo info = {nullptr, nullptr, code.data(), 9, 9, 9, 9};
    log_capture log;
    ASSERT_EQ(rsp__parse_activation_code(code.data(), code.size(), &info), 0U);
    EXPECT_EQ(text_of(info.smdp_address, info.smdp_address_length), GetParam().address);
    EXPECT_EQ(text_of(info.ac_token, info.ac_token_length), GetParam().token);
    EXPECT_EQ(text_of(info.smdp_oid, info.smdp_oid_length), GetParam().oid);
    EXPECT_EQ(info.cc_required, GetParam().cc_required);
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().warning);
}

INSTANTIATE_TEST_SUITE_P(
    table, good_activation_code,
    testing::ValuesIn(std::to_array<good_case>({
        {"with_prefix", "LPA:1$smdp.example$TOKEN", "smdp.example", "TOKEN", "(null)", 0, ""},
        {"with_small_prefix", "lpa:1$smdp.example$TOKEN", "smdp.example", "TOKEN", "(null)", 0, ""},
        {"with_mixed_prefix", "Lpa:1$smdp.example$TOKEN", "smdp.example", "TOKEN", "(null)", 0, ""},
        {"without_prefix", "1$smdp.example$TOKEN", "smdp.example", "TOKEN", "(null)", 0, ""},
        {"empty_oid_and_flag", "1$smdp.example$TOKEN$$1", "smdp.example", "TOKEN", "(null)", 1, ""},
        {"oid_without_flag", "1$smdp.example$TOKEN$1.3.6.1.4.1.99", "smdp.example", "TOKEN", "1.3.6.1.4.1.99", 0, ""},
        {"oid_and_flag", "1$smdp.example$TOKEN$1.3.6$1", "smdp.example", "TOKEN", "1.3.6", 1, ""},
        {"empty_oid", "1$smdp.example$TOKEN$", "smdp.example", "TOKEN", "(null)", 0, ""},
        {"flag_0_is_no_flag", "1$smdp.example$TOKEN$oid$0", "smdp.example", "TOKEN", "oid", 0, ""},
        {"empty_flag", "1$smdp.example$TOKEN$oid$", "smdp.example", "TOKEN", "oid", 0, ""},
        {"flag_11_is_no_flag", "1$smdp.example$TOKEN$oid$11", "smdp.example", "TOKEN", "oid", 0, ""},
        {"flag_1x_is_no_flag", "1$smdp.example$TOKEN$oid$1x", "smdp.example", "TOKEN", "oid", 0, ""},
        {"a_further_delimiter_spoils_the_flag", "1$smdp.example$TOKEN$oid$1$", "smdp.example", "TOKEN", "oid", 0, ""},
        {"empty_token_at_the_end_is_only_a_warning", "1$smdp.example$", "smdp.example", "", "(null)", 0,
         "2 [rsp__parse_activation_code] AC_Token length is 0\n"},
        {"longest", "1$a$" + std::string(251, 'T'), "a", std::string(251, 'T'), "(null)", 0, ""},
    })),
    [](const auto &info) { return std::string(info.param.name); });

struct bad_case {
    const char *name;
    std::string code;
    uint32_t result;
    std::string log; // level 1
};
class bad_activation_code : public testing::TestWithParam<bad_case> {};

TEST_P(bad_activation_code, is_refused)
{
    const exact_block code(characters(GetParam().code));
    ActivationCodeInfo info = {};
    log_capture log;
    EXPECT_EQ(rsp__parse_activation_code(code.data(), code.size(), &info), GetParam().result);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 " + tag + GetParam().log + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    table, bad_activation_code,
    testing::ValuesIn(std::to_array<bad_case>({
        {"empty", "", 4, "The activation code is empty or null"},
        {"of_256_bytes", "1$a$" + std::string(252, 'T'), 4, "The activation code is too long: size 256, max size 255"},
        {"prefix_alone", "LPA:", 1, "AC_Format '1' not found, activation code is too short"},
        {"format_alone", "1", 1, "delimiter '$' after AC_Format not found, activation code is too short"},
        {"other_format", "2$a$b", 1, "the AC_Format of the activation code is invalid, current '2', expected '1'"},
        {"other_prefix", "LPB:1$a$b", 1, "the AC_Format of the activation code is invalid, current 'L', expected '1'"},
        {"prefix_twice", "LPA:LPA:1$a$b", 1,
         "the AC_Format of the activation code is invalid, current 'L', expected '1'"},
        {"other_delimiter", "1#a$b", 1, "AC_Format is not followed by a delimiter '$', delimiter found '#'"},
        {"address_not_delimited", "1$smdp.example", 1, "Delimiter '$' followed by the SMDP+ address not found"},
        {"nothing_after_the_format", "1$", 1, "Delimiter '$' followed by the SMDP+ address not found"},
        {"empty_address", "1$$TOKEN", 1, "SMDP+ address length is 0"},
        {"empty_token_before_more", "1$smdp.example$$x", 1, "AC_Token length is 0"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(activation_code, null_gives_4)
{
    ActivationCodeInfo info;
    log_capture log;
    EXPECT_EQ(rsp__parse_activation_code(nullptr, 5, &info), 4U);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 " + tag + "The activation code is empty or null\n");
}

std::string log_of(const std::string &text)
{
    const auto code = characters(text);
    ActivationCodeInfo info;
    log_capture log;
    EXPECT_EQ(rsp__parse_activation_code(code.data(), static_cast<uint32_t>(code.size()), &info), 0U);
    return log.up_to(LOG__TRACE);
}

TEST(activation_code, tells_every_piece_in_the_log)
{
    EXPECT_EQ(log_of("LPA:1$a$T$o$1"), "4 " + tag + "Activation code: 'LPA:1$a$T$o$1'\n" +                          //
                                           "5 " + tag + "Activation code after skip 'LPA:' prefix: '1$a$T$o$1'\n" + //
                                           "4 " + tag + "SMDP+ address: \n4 61 \n" +                                //
                                           "5 " + tag + "Delimiter '$' followed by the AC_Token found\n" +          //
                                           "4 " + tag + "AC_Token: \n4 54 \n" +                                     //
                                           "5 " + tag + "Delimiter '$' followed by the AC_Token found\n" +          //
                                           "4 " + tag + "SM-DP+ OID: \n4 6F \n" +                                   //
                                           "5 " + tag + "Confirmation Code Required Flag is present\n");
}

TEST(activation_code, tells_missing_pieces_in_the_log)
{
    const std::string first = "4 " + tag + "SMDP+ address: \n4 61 \n";
    const auto behind_address = [&first](const std::string &log) { return log.substr(log.find(first) + first.size()); };
    EXPECT_EQ(behind_address(log_of("1$a$")), "5 " + tag + "Delimiter '$' followed by the AC_Token not found\n" + //
                                                  "2 " + tag + "AC_Token length is 0\n" +                         //
                                                  "4 " + tag + "AC_Token: \n");
    EXPECT_EQ(behind_address(log_of("1$a$T$")), "5 " + tag + "Delimiter '$' followed by the AC_Token found\n" + //
                                                    "4 " + tag + "AC_Token: \n4 54 \n" +                        //
                                                    "5 " + tag +
                                                    "Delimiter '$' followed by the SM-DP+ OID not found\n" + "5 " +
                                                    tag + "SM-DP+ OID length is 0\n");
    EXPECT_EQ(behind_address(log_of("1$a$T$$")), "5 " + tag + "Delimiter '$' followed by the AC_Token found\n" + //
                                                     "4 " + tag + "AC_Token: \n4 54 \n" +                        //
                                                     "5 " + tag + "Delimiter '$' followed by the AC_Token found\n" +
                                                     "5 " + tag + "SM-DP+ OID length is 0\n" + "5 " + tag +
                                                     "Confirmation Code Required Flag is not present\n");
}

TEST(activation_code, cut_short_or_random_is_read_within_its_bounds)
{
    const auto read = [](const exact_block &code) {
        ActivationCodeInfo info = {};
        const uint32_t rc = rsp__parse_activation_code(code.data(), code.size(), &info);
        if (rc != 0) return;
        EXPECT_LE(info.ac_token + info.ac_token_length, code.data() + code.size());
        EXPECT_GT(info.smdp_address_length, 0);
    };
    for_each_cut(characters("LPA:1$smdp.example$TOKEN$1.3.6$1"), read);
    for_random_blocks(2000, read);
}

TEST(activation_code, pieces_point_into_the_callers_code_with_the_prefix_counted)
{
    for (const std::string prefix : {"", "LPA:"}) {
        const exact_block code(characters(prefix + "1$host$TOKEN$1.3$1"));
        ActivationCodeInfo info;
        ASSERT_EQ(rsp__parse_activation_code(code.data(), code.size(), &info), 0U);
        const uint8_t *start = code.data() + prefix.size();
        EXPECT_EQ(info.smdp_address, start + 2);
        EXPECT_EQ(info.ac_token, start + 7);
        EXPECT_EQ(info.smdp_oid, start + 13);
    }
}

TEST(activation_code, ends_at_a_zero_byte)
{
    const exact_block code(characters(std::string("1$a$T\0$o$1", 10)));
    ActivationCodeInfo info;
    ASSERT_EQ(rsp__parse_activation_code(code.data(), code.size(), &info), 0U);
    EXPECT_EQ(info.ac_token_length, 1);
    EXPECT_EQ(info.smdp_oid, nullptr);
    EXPECT_EQ(info.cc_required, 0);
}
} // namespace
