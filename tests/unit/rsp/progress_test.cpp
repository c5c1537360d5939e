#include "rsp/progress.h"
#include "support/progress_capture.h"
#include "unit/rsp/card_answers.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;
using bytes_type = std::vector<uint8_t>;

const bytes_type iccid = tlv(0x5A, filler(10));

// What is told after the server has sent this metadata, in a block of exactly its size.
std::string learned(const bytes_type &metadata)
{
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[metadata.size()]);
    std::ranges::copy(metadata, exact.get());
    progress_capture progress;
    progress__forget_profile();
    progress__learn_profile(exact.get(), static_cast<uint32_t>(metadata.size()));
    progress__tell(LPA_PROGRESS__PREPARING);
    progress__forget_profile();
    return progress.lines.at(0);
}

struct metadata_case {
    const char *name;
    bytes_type metadata;
    std::string told;
};
void PrintTo(const metadata_case &row, std::ostream *out) { *out << row.name; }

class metadata : public testing::TestWithParam<metadata_case> {};

TEST_P(metadata, gives_provider_and_name) { EXPECT_EQ(learned(GetParam().metadata), GetParam().told); }

bytes_type text(unsigned tag, const std::string &content) { return tlv(tag, text_bytes(content)); }

bytes_type store_metadata(const std::vector<bytes_type> &fields)
{
    std::vector<bytes_type> all = {iccid};
    all.insert(all.end(), fields.begin(), fields.end());
    return tlv(0xBF25, join(all));
}

const bytes_type provider = text(0x91, "Desk Operator");
const bytes_type profile = text(0x92, "Travel");

INSTANTIATE_TEST_SUITE_P(
    table, metadata,
    testing::ValuesIn(std::to_array<metadata_case>({
        {"both", store_metadata({provider, profile}), "preparing 'Desk Operator' 'Travel'"},
        {"with_other_fields",
         store_metadata({provider, profile, tlv(0x93, {1}), tlv(0x94, filler(300)), tlv(0x95, {2}),
                         tlv(0xBF76, filler(5))}),
         "preparing 'Desk Operator' 'Travel'"},
        {"behind_a_long_field", store_metadata({tlv(0x94, filler(70000)), provider, profile}),
         "preparing 'Desk Operator' 'Travel'"},
        {"provider_alone", store_metadata({provider}), "preparing 'Desk Operator' -"},
        {"name_alone", store_metadata({profile}), "preparing - 'Travel'"},
        {"empty_texts", store_metadata({text(0x91, ""), text(0x92, "")}), "preparing '' ''"},
        {"longest_texts", store_metadata({text(0x91, std::string(128, 'p')), text(0x92, std::string(256, 'n'))}),
         "preparing '" + std::string(128, 'p') + "' '" + std::string(256, 'n') + "'"},
        {"too_long_texts", store_metadata({text(0x91, std::string(129, 'p')), text(0x92, std::string(257, 'n'))}),
         "preparing"},
        {"as_sent", store_metadata({text(0x91, "\x1B[2J"), text(0x92, "\xC3\xA9\xFF")}),
         "preparing '\x1B[2J' '\xC3\xA9\xFF'"},
        {"nothing", {}, "preparing"},
        {"no_fields", tlv(0xBF25, {}), "preparing"},
        {"another_element", tlv(0xBF26, join({iccid, provider, profile})), "preparing"},
        {"length_of_many_bytes", bytes_type(300, 0xFF), "preparing"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(cut_metadata, tells_what_is_there_as_a_whole)
{
    bytes_type fields = join({iccid, provider, profile});
    while (!fields.empty()) {
        fields.pop_back();
        const bool has_provider = fields.size() >= iccid.size() + provider.size();
        EXPECT_EQ(learned(tlv(0xBF25, fields)), has_provider ? "preparing 'Desk Operator' -" : "preparing");
    }
    bytes_type whole = store_metadata({provider, profile});
    while (!whole.empty()) {
        whole.pop_back();
        EXPECT_EQ(learned(whole), "preparing");
    }
}

TEST(progress, is_told_to_the_last_callback_alone)
{
    progress_capture first;
    {
        progress_capture second;
        progress__tell(LPA_PROGRESS__DELIVERING, 1, 3);
        EXPECT_THAT(second.lines, ElementsAre("delivering 1/3"));
    }
    progress__tell(LPA_PROGRESS__OPENING); // nobody listens any more
    EXPECT_THAT(first.lines, IsEmpty());
}
} // namespace
