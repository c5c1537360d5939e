#include "lpa/iccid_argument.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/lpa/scripted_card.h"
#include <gtest/gtest.h>

namespace {

struct iccid_case {
    const char *name, *text;
    uint32_t code;
    const char *bytes, *log;
};
class parse_iccid_text : public testing::TestWithParam<iccid_case> {};

TEST_P(parse_iccid_text, gives_bytes_or_a_line)
{
    uint8_t iccid[10] = {};
    log_capture log;
    EXPECT_EQ(parse_iccid(GetParam().text, iccid), GetParam().code);
    EXPECT_EQ(log.up_to(3), GetParam().log);
    EXPECT_EQ(hex(iccid, sizeof iccid), GetParam().bytes);
}

constexpr const char *untouched = "00000000000000000000";
#define LENGTH(length)                                                                                                 \
    "1 [parse_iccid] ICCID input has incorrect length [" length "], the iccid length needs to be from 18 to 20\n"
#define CHARACTER(position)                                                                                            \
    "1 [parse_iccid] The character " position " of the iccid dont follow the pattern ^[0-9]{19}[0-9F]?$\n"

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, parse_iccid_text, testing::ValuesIn(std::to_array<iccid_case>({
    {"eighteen_digits_are_padded_with_two_F", "890123456789012345", 0, "890123456789012345FF", ""},
    {"nineteen_digits_get_one_F", "8901234567890123456", 0, "8901234567890123456F", ""},
    {"twenty_digits", "89012345678901234567", 0, "89012345678901234567", ""},
    {"F_at_19_and_20", "890123456789012345FF", 0, "890123456789012345FF", ""},
    {"F_at_19_before_a_digit", "890123456789012345F7", 0, "890123456789012345F7", ""},
    {"any_first_digits", "120123456789012345", 0, "120123456789012345FF", ""},
    {"seventeen_digits", "89012345678901234", 4, untouched, LENGTH("17")},
    {"twenty_one_digits", "890123456789012345678", 4, untouched, LENGTH("21")},
    {"empty", "", 4, untouched, LENGTH("0")},
    {"null", nullptr, 4, untouched, "1 [parse_iccid] ICCID input is null\n"},
    {"letter_at_1", "A90123456789012345", 4, untouched, CHARACTER("1")},
    {"F_at_18", "89012345678901234F", 4, untouched, CHARACTER("18")},
    {"letter_in_the_middle", "89012345a789012345", 4, untouched, CHARACTER("9")},
    {"lower_case_f_at_19", "890123456789012345f", 4, untouched, CHARACTER("19")},
    {"hex_letter_at_20", "8901234567890123456A", 4, untouched, CHARACTER("20")},
    {"blank", "8901 3456789012345", 4, untouched, CHARACTER("5")},
    {"character_below_the_digits", "8901/3456789012345", 4, untouched, CHARACTER("5")},
    {"character_above_the_digits", "8901:3456789012345", 4, untouched, CHARACTER("5")},
})), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST(parse_iccid, a_conversion_that_fails_gives_its_code)
{
    uint8_t iccid[10] = {};
    log_capture log;
    forced.hex_conversion = -4;
    EXPECT_EQ(parse_iccid("890123456789012345", iccid), 4u);
    forced = {};
    EXPECT_EQ(log.up_to(5), "1 [parse_iccid] Bad argument when trying to convert iccid string to byte, rc -4\n");
}

TEST(parse_iccid, dumps_the_bytes)
{
    uint8_t iccid[10];
    log_capture log;
    EXPECT_EQ(parse_iccid("890123456789012345", iccid), 0u);
    EXPECT_TRUE(log.at(4).starts_with("4 [parse_iccid] ICCID")) << log.at(4);
}

} // namespace
