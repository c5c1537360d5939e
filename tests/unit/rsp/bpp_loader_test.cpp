#include "foundation/base64.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "rsp/bpp_loader.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/progress_capture.h"
#include "tlv/ber_tlv_parser.h"
#include "unit/fakes/failing_memory.h"
#include "unit/rsp/scripted_card.h"
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

// Lets the n-th element be unreadable although it was found, which no bytes can bring about (the linker's --wrap).
static int reads_until_failure = 0;

extern "C" {
uint32_t __real_ber_tlv_parser__ber_tlv_2(const uint8_t *buffer, uint32_t size, uint32_t offset,
                                          ber_tlv_record *record);
uint32_t __wrap_ber_tlv_parser__ber_tlv_2(const uint8_t *buffer, uint32_t size, uint32_t offset,
                                          ber_tlv_record *record);

uint32_t __wrap_ber_tlv_parser__ber_tlv_2(const uint8_t *buffer, uint32_t size, uint32_t offset, ber_tlv_record *record)
{
    if (reads_until_failure > 0 && --reads_until_failure == 0) return 1;
    return __real_ber_tlv_parser__ber_tlv_2(buffer, size, offset, record);
}
}

namespace {
using bytes_type = std::vector<uint8_t>;
const bytes_type installed = tlv(0xBF37, filler(40));

std::string base64(const bytes_type &data)
{
    char *text = base64_encode(data.data(), static_cast<uint32_t>(data.size()), nullptr);
    const std::string result = text;
    M_free(text);
    return result;
}

std::string with_escaped_padding(std::string text)
{
    for (size_t at; (at = text.find('=')) != std::string::npos;)
        text.replace(at, 1, "\\u003d");
    return text;
}

// A package by the sizes of its parts, and the series that a card is to receive.
struct package {
    size_t secure_channel = 60;
    size_t first_87 = 30;
    std::vector<size_t> items_88 = {50};
    std::optional<size_t> second_87{};
    std::vector<size_t> items_86 = {100, 20};

    std::vector<bytes_type> series() const
    {
        std::vector<bytes_type> result = {tlv(0xBF23, filler(secure_channel, 1)),
                                          tlv(0xA0, tlv(0x87, filler(first_87, 2)))};
        add_items(result, 0xA1, 0x88, items_88);
        if (second_87) result.push_back(tlv(0xA2, tlv(0x87, filler(*second_87, 3))));
        add_items(result, 0xA3, 0x86, items_86);
        const bytes_type whole = tlv(0xBF36, join(result));
        const size_t header = whole.size() - join(result).size();
        result[0].insert(result[0].begin(), whole.begin(), whole.begin() + static_cast<long>(header));
        return result;
    }

  private:
    static void add_items(std::vector<bytes_type> &result, unsigned tag, unsigned item_tag,
                          const std::vector<size_t> &sizes)
    {
        std::vector<bytes_type> items;
        for (const size_t size : sizes)
            items.push_back(tlv(item_tag, filler(size, static_cast<unsigned>(size))));
        bytes_type header = tlv(tag, join(items));
        header.resize(header.size() - join(items).size());
        result.push_back(header);
        result.insert(result.end(), items.begin(), items.end());
    }
};

std::vector<scripted_card::block> blocks_of(const std::vector<bytes_type> &series)
{
    std::vector<scripted_card::block> result;
    for (const auto &one : series)
        for (const auto &block : cut(one))
            result.push_back(block);
    return result;
}

// Loads from a block of exactly the text's size, without a terminator, onto a card that answers the last series.
class loader {
  public:
    scripted_card card;
    bytes_type result;
    bool has_result = false;

    loader() { finish_after(SIZE_MAX); }

    // The card ends the installation with its answer to this series.
    void finish_after(size_t count)
    {
        card.respond = [this, count](const bytes_type &) {
            return scripted_card::answer{card.series.size() == count ? installed : bytes_type{}};
        };
    }

    uint32_t load(const std::string &text)
    {
        const std::unique_ptr<char[]> exact(new char[text.size()]);
        text.copy(exact.get(), text.size());
        uint8_t *data = nullptr;
        uint32_t length = 77;
        const uint32_t rc = load_base64_bound_profile_package(&card.handle, scripted_card::channel, exact.get(),
                                                              static_cast<uint32_t>(text.size()), &data, &length);
        has_result = data != nullptr;
        EXPECT_EQ(has_result, length > 0);
        result.assign(data, data + length);
        M_free(data);
        return rc;
    }

    uint32_t load(const std::vector<bytes_type> &series) { return load(base64(join(series))); }
};

void expect_loaded(const package &content)
{
    const auto series = content.series();
    const std::string text = base64(join(series));
    for (const std::string &form : {text, with_escaped_padding(text)}) {
        loader loader;
        loader.finish_after(series.size());
        ASSERT_EQ(loader.load(form), 0U);
        ASSERT_EQ(loader.card.blocks, blocks_of(series));
        EXPECT_EQ(loader.result, installed);
        if (form == text && text.find('=') == std::string::npos) break;
    }
}

TEST(bound_profile_package, is_sent_in_series_of_blocks_as_cut_from_it)
{
    expect_loaded({});
    expect_loaded({.secure_channel = 180,
                   .first_87 = 500,
                   .items_88 = {1000, 3},
                   .second_87 = 700,
                   .items_86 = {1016, 1016, 240}});
    expect_loaded({.secure_channel = 300, .first_87 = 0, .items_88 = {}, .second_87 = 0, .items_86 = {0, 1, 0}});
    expect_loaded({.secure_channel = 0, .first_87 = 1, .items_88 = {1, 1, 1}, .second_87 = 1, .items_86 = {1}});
}

TEST(bound_profile_package, every_alignment_of_every_block_border_is_cut_right)
{
    log_capture quiet(0);
    for (size_t size = 225; size < 250; ++size) {
        expect_loaded({.secure_channel = size, .second_87 = 60});
        expect_loaded({.first_87 = size});
        expect_loaded({.items_88 = {size, 1}});
        expect_loaded({.second_87 = size});
        expect_loaded({.items_86 = {2, size, size + 240}});
    }
}

TEST(bound_profile_package, every_length_of_the_last_stretch_of_text_is_read_to_its_end)
{
    log_capture quiet(0);
    for (size_t size = 0; size < 500; ++size)
        expect_loaded({.items_86 = {size}});
}

TEST(bound_profile_package, a_tlv_of_240_bytes_is_one_command_and_one_of_241_bytes_are_two)
{
    struct {
        size_t item_size;
        std::vector<size_t> blocks;
    } const rows[] = {{237, {240}}, {238, {240, 1}}};
    for (const auto &row : rows) {
        const auto series = package{.items_86 = {row.item_size}}.series();
        loader loader;
        loader.finish_after(series.size());
        ASSERT_EQ(loader.load(series), 0U);
        std::vector<size_t> sizes;
        for (size_t i = series.size() - 1; i < loader.card.blocks.size(); ++i) // all others are one block each
            sizes.push_back(loader.card.blocks[i].data.size());
        EXPECT_EQ(sizes, row.blocks);
        EXPECT_TRUE(loader.card.blocks.back().is_last);
    }
}

TEST(bound_profile_package, the_block_number_wraps_after_255)
{
    log_capture quiet(0);
    const package content = {.first_87 = 62000, .items_88 = {5}};
    expect_loaded(content);
    EXPECT_GT(cut(content.series()[1]).size(), 257U);
}

TEST(bound_profile_package, after_100_bytes_the_offset_is_132_with_padding_1_and_after_2_more_136_with_padding_0)
{
    const auto series = package{.secure_channel = 92}.series();
    ASSERT_EQ(series[0].size(), 100U);
    loader loader;
    loader.finish_after(2);
    log_capture log;
    const bytes_type empty_a0 = {0xA0, 0x00};
    EXPECT_EQ(loader.load(base64(join({series[0], empty_a0, series[2]}))), 0U);
    std::string seen;
    for (const auto &line : log.lines())
        if (line.text.starts_with("[update_bpp_offset_and_padding]"))
            seen += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(seen, "5 [update_bpp_offset_and_padding] data_size 100, data_padding 0, base64_offset 0\n"
                    "5 [update_bpp_offset_and_padding] Updated values data_padding 1, base64_offset 132\n"
                    "5 [update_bpp_offset_and_padding] data_size 2, data_padding 1, base64_offset 132\n"
                    "5 [update_bpp_offset_and_padding] Updated values data_padding 0, base64_offset 136\n");
}

// The module's lines at a level or worse, dumps and lower modules left out.
std::string own_lines(const log_capture &log, int level)
{
    static constexpr const char *names[] = {"[get_next_chunk]", "[store_bpp_chunk]", "[process_", "[load_",
                                            "ES10.LoadBoundProfilePackage"};
    std::string result;
    for (const auto &line : log.lines())
        for (const char *name : names)
            if (line.level <= level && line.text.starts_with(name))
                result += std::to_string(line.level) + " " + line.text + "\n";
    return result;
}

TEST(bound_profile_package, tells_its_phases_at_level_3)
{
    loader loader;
    loader.finish_after(8);
    log_capture log;
    ASSERT_EQ(loader.load(package{.second_87 = 60}.series()), 0U);
    EXPECT_EQ(log.up_to(LOG__INFO), "3 ES10.LoadBoundProfilePackage (0/5)\n"
                                    "3 ES10.LoadBoundProfilePackage (1/5)\n"
                                    "3 ES10.LoadBoundProfilePackage (2/5)\n"
                                    "3 [process_sequence_of_tlvs] bytes remaining 52\n"
                                    "3 ES10.LoadBoundProfilePackage (3/5)\n"
                                    "3 ES10.LoadBoundProfilePackage (4/5)\n"
                                    "3 [process_sequence_of_tlvs] bytes remaining 124\n"
                                    "3 [process_sequence_of_tlvs] bytes remaining 22\n"
                                    "3 ES10.LoadBoundProfilePackage (5/5)\n");
}

TEST(bound_profile_package, tells_what_it_reads_at_level_4)
{
    loader loader;
    loader.finish_after(5);
    log_capture log;
    ASSERT_EQ(loader.load(package{.items_88 = {3}}.series()), 0U) << "ends with the A3 header";
    EXPECT_EQ(own_lines(log, LOG__DEBUG),
              "3 ES10.LoadBoundProfilePackage (0/5)\n"
              "4 [load_initialize_secure_channel_request] CHUNK DATA\n"
              "4 [load_initialize_secure_channel_request] TLV 1: Tag BF36 in 2 bytes, length 230 in 2 bytes\n"
              "4 [load_initialize_secure_channel_request] TLV 2: Tag BF23 in 2 bytes, length 60 in 1 bytes\n"
              "4 [load_initialize_secure_channel_request] DATA TO SEND 67 bytes\n"
              "3 ES10.LoadBoundProfilePackage (1/5)\n"
              "4 [process_tlv] CHUNK DATA\n"
              "4 [process_tlv] TLV: Tag 00A0 in 1 bytes, length 32 in 1 bytes\n"
              "3 ES10.LoadBoundProfilePackage (2/5)\n"
              "4 [process_tlv] CHUNK DATA\n"
              "4 [process_tlv] TLV: Tag 00A1 in 1 bytes, length 5 in 1 bytes\n"
              "4 [process_sequence_of_tlvs] items_tag=0088, sequence_size= 5, bpp_offset=136, byte_padding= 1\n"
              "3 [process_sequence_of_tlvs] bytes remaining 5\n"
              "4 [process_tlv] CHUNK DATA\n"
              "4 [process_tlv] TLV: Tag 0088 in 1 bytes, length 3 in 1 bytes\n"
              "3 ES10.LoadBoundProfilePackage (3/5)\n"
              "4 [process_tlv] CHUNK DATA\n"
              "1 [process_tlv] TAG [00A2] not found in chunk\n"
              "2 [load_bound_profile_package] Load second sequence of 87 failed, rc 1\n"
              "3 ES10.LoadBoundProfilePackage (4/5)\n"
              "4 [process_tlv] CHUNK DATA\n"
              "4 [process_tlv] TLV: Tag 00A3 in 1 bytes, length 124 in 1 bytes\n"
              "4 [load_sequence_of_86] Install profile process finished\n"
              "3 ES10.LoadBoundProfilePackage (5/5)\n"
              "4 [load_bound_profile_package] Install profile process finished after load the sequence of 86\n");
}

TEST(bound_profile_package, the_dump_of_a_full_chunk_has_240_bytes)
{
    loader loader;
    loader.finish_after(1);
    log_capture log;
    const auto series = package{.secure_channel = 250}.series();
    ASSERT_EQ(loader.load(series), 0U);
    const auto lines = log.lines();
    size_t at = 0;
    while (lines.at(at).text != "[load_initialize_secure_channel_request] CHUNK DATA")
        ++at;
    std::string dump;
    for (++at; lines.at(at).text.find_first_not_of("0123456789ABCDEF ") == std::string::npos; ++at)
        dump += lines.at(at).text + " ";
    bytes_type expected = series[0];
    expected.resize(240);
    EXPECT_EQ(bytes(dump), expected);
}

TEST(bound_profile_package, one_without_a2_loads_with_a_warning_only)
{
    const auto series = package{}.series();
    loader loader;
    loader.finish_after(series.size());
    log_capture log;
    EXPECT_EQ(loader.load(series), 0U);
    EXPECT_EQ(loader.result, installed);
    EXPECT_EQ(log.at(LOG__WARN), "2 [load_bound_profile_package] Load second sequence of 87 failed, rc 1\n");
}

TEST(bound_profile_package, one_that_the_card_never_answers_ends_without_result)
{
    const auto series = package{}.series();
    loader loader;
    log_capture log;
    EXPECT_EQ(loader.load(series), 0U);
    EXPECT_EQ(loader.card.blocks, blocks_of(series));
    EXPECT_FALSE(loader.has_result);
    EXPECT_TRUE(
        log.contains(4, "[load_bound_profile_package] Install profile process finished after load the sequence of 86"));
}

struct early_case {
    const char *name;
    size_t series;
    std::vector<std::string> finished; // the lines that say so
};
class early_answer : public testing::TestWithParam<early_case> {};

TEST_P(early_answer, ends_the_loading_with_the_cards_result)
{
    const package content = {
        .secure_channel = 60, .first_87 = 300, .items_88 = {300, 5}, .second_87 = 300, .items_86 = {300, 5}};
    const auto series = content.series();
    loader loader;
    loader.finish_after(GetParam().series);
    log_capture log;
    EXPECT_EQ(loader.load(series), 0U);
    EXPECT_EQ(loader.result, installed);
    EXPECT_EQ(loader.card.blocks, blocks_of({series.begin(), series.begin() + static_cast<long>(GetParam().series)}));
    std::vector<std::string> finished;
    for (const auto &line : log.lines())
        if (line.text.find("Install profile process finished") != std::string::npos) {
            finished.push_back(line.text);
            EXPECT_EQ(line.level, LOG__DEBUG);
        }
    EXPECT_EQ(finished, GetParam().finished);
    EXPECT_TRUE(log.contains(3, "ES10.LoadBoundProfilePackage (5/5)"));
}

const std::string chunks = "[process_next_chunks_of_tlv] Install profile process finished";
const std::string items = "[process_sequence_of_tlvs] Install profile process finished";
const std::string of_88 = "[load_sequence_of_88] Install profile process finished";
const std::string of_86 = "[load_sequence_of_86] Install profile process finished";
const std::string after = "[load_bound_profile_package] Install profile process finished after load the ";
INSTANTIATE_TEST_SUITE_P(table, early_answer,
                         testing::ValuesIn(std::to_array<early_case>({
                             {"initialize_secure_channel", 1, {after + "initialize secure channel"}},
                             {"first_sequence_of_87", 2, {chunks, after + "first sequence of 87"}},
                             {"header_of_88", 3, {of_88, after + "sequence of 88"}},
                             {"first_88", 4, {chunks, items, of_88, after + "sequence of 88"}},
                             {"second_88", 5, {items, of_88, after + "sequence of 88"}},
                             {"second_sequence_of_87", 6, {chunks, after + "second sequence of 87"}},
                             {"header_of_86", 7, {of_86, after + "sequence of 86"}},
                             {"first_86", 8, {chunks, items, of_86, after + "sequence of 86"}},
                             {"last_86", 9, {items, of_86, after + "sequence of 86"}},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(bound_profile_package, an_answer_to_the_first_block_of_a_longer_series_ends_the_loading_too)
{
    for (const size_t block : {size_t{0}, size_t{2}}) {
        const auto series = package{.secure_channel = 300, .first_87 = 700}.series();
        loader loader;
        loader.card.refuse = [block](size_t index) {
            return index == block ? scripted_card::answer{installed} : scripted_card::answer{};
        };
        EXPECT_EQ(loader.load(series), 0U);
        EXPECT_EQ(loader.result, installed);
        EXPECT_EQ(loader.card.blocks.size(), block + 1);
    }
}

struct failure_case {
    const char *name;
    size_t block; // that the card refuses
    std::string log;
};
class refused_block : public testing::TestWithParam<failure_case> {};

// Blocks: 0 BF36+BF23, 1-2 A0, 3 A1, 4-5 88, 6 A3, 7-8 86.
TEST_P(refused_block, ends_the_loading_with_the_sessions_code)
{
    loader loader;
    loader.card.refuse = [](size_t index) {
        return scripted_card::answer{{}, index == GetParam().block ? 0x6A80U : 0x9000U};
    };
    log_capture log;
    EXPECT_EQ(loader.load(package{.first_87 = 300, .items_88 = {300}, .items_86 = {300}}.series()), 1U);
    EXPECT_FALSE(loader.has_result);
    EXPECT_EQ(loader.card.blocks.size(), GetParam().block + 1);
    const std::string no_a2 = "1 [process_tlv] TAG [00A2] not found in chunk\n";
    std::string seen = own_lines(log, LOG__ERROR);
    if (GetParam().block > 5) seen.replace(seen.find(no_a2), no_a2.size(), "");
    EXPECT_EQ(seen, "1 [store_bpp_chunk] eUICC__store_data_by_steps failed, rc 1\n" + GetParam().log);
}

const std::string first_failed = "1 [process_tlv] store_bpp_chunk failed, rc 1\n";
const std::string next_failed = "1 [process_next_chunks_of_tlv] store_bpp_chunk failed, rc 1\n";
const std::string bpp = "1 [load_bound_profile_package] ";
INSTANTIATE_TEST_SUITE_P(
    table, refused_block,
    testing::ValuesIn(std::to_array<failure_case>({
        {"initialize_secure_channel", 0, bpp + "Load initialize secure channel request failed, rc 1\n"},
        {"first_of_87", 1, first_failed + bpp + "Load first sequence of 87 failed, rc 1\n"},
        {"second_of_87", 2, next_failed + bpp + "Load first sequence of 87 failed, rc 1\n"},
        {"header_of_88", 3,
         first_failed + "1 [load_sequence_of_88] process_tlv failed, rc 1\n" + bpp +
             "Load sequence of 88 failed, rc 1\n"},
        {"item_88", 4,
         first_failed + "1 [process_sequence_of_tlvs] Failed to process a sequence of 0088, rc 1\n" +
             "1 [load_sequence_of_88] process_sequence_of_tlvs failed, rc 1\n" + bpp +
             "Load sequence of 88 failed, rc 1\n"},
        {"header_of_86", 6,
         first_failed + "1 [load_sequence_of_86] process_tlv failed, rc 1\n" + bpp +
             "Load sequence of 86 failed, rc 1\n"},
        {"second_of_item_86", 8,
         next_failed + "1 [process_sequence_of_tlvs] Failed to process a sequence of 0086, rc 1\n" +
             "1 [load_sequence_of_86] process_sequence_of_tlvs failed, rc 1\n" + bpp +
             "Load sequence of 86 failed, rc 1\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(bound_profile_package, a_refused_a2_is_a_warning_and_the_next_phase_is_tried)
{
    loader loader;
    loader.card.refuse = [](size_t index) { return scripted_card::answer{{}, index == 4 ? 0x6A80U : 0x9000U}; };
    log_capture log;
    EXPECT_EQ(loader.load(package{.second_87 = 60}.series()), 1U);
    EXPECT_EQ(log.at(LOG__WARN), "2 [load_bound_profile_package] Load second sequence of 87 failed, rc 1\n");
    EXPECT_TRUE(log.contains(1, "[process_tlv] TLV TAG [00A3] not align in chunk"));
    EXPECT_TRUE(log.contains(1, "[load_bound_profile_package] Load sequence of 86 failed, rc 1"));
}

TEST(bound_profile_package, a_modem_that_fails_gives_its_code)
{
    loader loader;
    loader.card.refuse = [](size_t index) { return scripted_card::answer{{}, 0x9000, index == 1}; };
    EXPECT_EQ(loader.load(package{}.series()), 14U);
    EXPECT_FALSE(loader.has_result);
}

struct broken_case {
    const char *name;
    std::string text;
    uint32_t code;
    size_t blocks; // sent before the defect shows
    std::string log;
};
class broken_package : public testing::TestWithParam<broken_case> {};

TEST_P(broken_package, fails_where_the_defect_is)
{
    loader loader;
    log_capture log;
    EXPECT_EQ(loader.load(GetParam().text), GetParam().code);
    EXPECT_FALSE(loader.has_result);
    EXPECT_EQ(loader.card.blocks.size(), GetParam().blocks);
    EXPECT_EQ(own_lines(log, LOG__ERROR), GetParam().log);
}

bytes_type from(std::string_view hex_digits, const bytes_type &more = {}) { return join({bytes(hex_digits), more}); }

const std::string phase_0 = bpp + "Load initialize secure channel request failed, rc ";
const std::string phase_1 = bpp + "Load first sequence of 87 failed, rc ";
const std::string phase_2 = bpp + "Load sequence of 88 failed, rc ";
const std::string start = "BF36 7F BF23 01 00 "; // BF36 and BF23; seven bytes

INSTANTIATE_TEST_SUITE_P(
    table, broken_package,
    testing::ValuesIn(std::to_array<broken_case>({
        {"no_text", "", 4, 0, phase_0 + "4\n"},
        {"half_a_group", "vzY", 1, 0,
         "1 [get_next_chunk] failed to decode the base64 string with offset 0 and chunk size 3\n" + phase_0 + "1\n"},
        {"no_base64_at_all", "    ", 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF36] not found in chunk\n" + phase_0 + "1\n"},
        {"first_bytes_other_than_bf36_fail_in_phase_0_without_a_command", base64(from("BF37 01 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF36] not found in chunk\n" + phase_0 + "1\n"},
        {"bf36_not_first", base64(from("5A 00 BF36 03 BF23 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TLV TAG [BF36] not align in chunk\n" + phase_0 + "1\n"},
        {"bf36_with_a_length_of_four_bytes", base64(from("BF36 84 00000001 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF36] not found in chunk\n" + phase_0 + "1\n"},
        {"bf36_alone", base64(from("BF36 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF23] not found in chunk\n" + phase_0 + "1\n"},
        {"bf36_cut_in_its_tag", base64(from("BF")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF36] not found in chunk\n" + phase_0 + "1\n"},
        {"bf36_cut_in_its_length", base64(from("BF36 82 01")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF36] not found in chunk\n" + phase_0 + "1\n"},
        {"other_tag_than_bf23", base64(from("BF36 03 BF24 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TAG [BF23] not found in chunk\n" + phase_0 + "1\n"},
        {"bf23_not_first_in_bf36", base64(from("BF36 05 5A 00 BF23 00")), 1, 0,
         "1 [load_initialize_secure_channel_request] TLV TAG [BF23] not align in chunk\n" + phase_0 + "1\n"},
        {"bf23_longer_than_the_text", base64(from("BF36 7F BF23 10 0102")), 1, 0,
         "1 [store_bpp_chunk] The package ends too early. Bytes needed 22, bytes left 8\n" + phase_0 + "1\n"},
        {"bf23_of_the_largest_length", base64(from("BF36 83 FFFFFF BF23 83 FFFFFF", filler(500))), 1, 2,
         "1 [store_bpp_chunk] The package ends too early. Bytes needed 240, bytes left 32\n"
         "1 [process_next_chunks_of_tlv] store_bpp_chunk failed, rc 1\n" +
             phase_0 + "1\n"},
        {"bf23_that_ends_with_a_block_where_the_text_ends", base64(from("BF36 7F BF23 81 F8", filler(233))), 4, 1,
         "1 [process_next_chunks_of_tlv] get_next_chunk failed, rc 4\n" + phase_0 + "4\n"},
        {"nothing_behind_bf23", base64(from(start)), 1, 1,
         "1 [process_tlv] TAG [00A0] not found in chunk\n" + phase_1 + "1\n"},
        {"nothing_behind_bf23_at_a_group_border", base64(from("BF36 7F BF23 03 000000")), 4, 1,
         "1 [process_tlv] get_next_chunk failed, rc 4\n" + phase_1 + "4\n"},
        {"other_tag_than_a0", base64(from(start + "A1 00")), 1, 1,
         "1 [process_tlv] TAG [00A0] not found in chunk\n" + phase_1 + "1\n"},
        {"a0_not_aligned", base64(from(start + "5A 00 A0 00")), 1, 1,
         "1 [process_tlv] TLV TAG [00A0] not align in chunk\n" + phase_1 + "1\n"},
        {"a0_longer_than_the_text", base64(from(start + "A0 05 87 03 01")), 1, 1,
         "1 [store_bpp_chunk] The package ends too early. Bytes needed 7, bytes left 5\n"
         "1 [process_tlv] store_bpp_chunk failed, rc 1\n" +
             phase_1 + "1\n"},
        {"a1_missing", base64(from(start + "A0 01 00")), 1, 2,
         "1 [process_tlv] TAG [00A1] not found in chunk\n"
         "1 [load_sequence_of_88] process_tlv failed, rc 1\n" +
             phase_2 + "1\n"},
        {"item_larger_than_its_sequence", base64(from(start + "A0 00 A1 05 88 04 01020304")), 1, 3,
         "1 [process_tlv] The TLV is longer than its sequence. TLV size 6, bytes remaining 5\n"
         "1 [process_sequence_of_tlvs] Failed to process a sequence of 0088, rc 1\n"
         "1 [load_sequence_of_88] process_sequence_of_tlvs failed, rc 1\n" +
             phase_2 + "1\n"},
        {"item_of_the_largest_length", base64(from(start + "A0 00 A1 05 88 83 FFFFFF", filler(600))), 1, 3,
         "1 [process_tlv] The TLV is longer than its sequence. TLV size 16777220, bytes remaining 5\n"
         "1 [process_sequence_of_tlvs] Failed to process a sequence of 0088, rc 1\n"
         "1 [load_sequence_of_88] process_sequence_of_tlvs failed, rc 1\n" +
             phase_2 + "1\n"},
        {"other_item_than_88", base64(from(start + "A0 00 A1 02 86 00")), 1, 3,
         "1 [process_tlv] TAG [0088] not found in chunk\n"
         "1 [process_sequence_of_tlvs] Failed to process a sequence of 0088, rc 1\n"
         "1 [load_sequence_of_88] process_sequence_of_tlvs failed, rc 1\n" +
             phase_2 + "1\n"},
        {"sequence_longer_than_the_text", base64(from(start + "A0 00 A1 7F 88 00")), 1, 4,
         "1 [process_tlv] TAG [0088] not found in chunk\n"
         "1 [process_sequence_of_tlvs] Failed to process a sequence of 0088, rc 1\n"
         "1 [load_sequence_of_88] process_sequence_of_tlvs failed, rc 1\n" +
             phase_2 + "1\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(bound_profile_package, an_element_that_is_found_but_unreadable_ends_the_loading)
{
    const std::string expected[] = {
        phase_0 + "1\n",
        phase_0 + "1\n",
        "1 [process_tlv] Error parsing the tlv\n" + phase_1 + "1\n",
    };
    for (int nth = 1; nth <= 3; ++nth) {
        loader loader;
        log_capture log;
        reads_until_failure = nth;
        EXPECT_EQ(loader.load(package{}.series()), 1U);
        EXPECT_EQ(reads_until_failure, 0);
        EXPECT_EQ(own_lines(log, LOG__ERROR), expected[nth - 1]);
    }
}

TEST(bound_profile_package, null_text_gives_4)
{
    scripted_card card;
    uint8_t *data = nullptr;
    uint32_t length = 5;
    EXPECT_EQ(load_base64_bound_profile_package(&card.handle, 1, nullptr, 100, &data, &length), 4U);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 0U);
    EXPECT_TRUE(card.blocks.empty());
}

// The bytes that the card has taken after each block.
std::vector<size_t> sums(const std::vector<scripted_card::block> &blocks)
{
    std::vector<size_t> result = {0};
    for (const auto &block : blocks)
        result.push_back(result.back() + block.data.size());
    return result;
}

TEST(bound_profile_package, tells_the_bytes_that_the_card_has_taken_after_each_block)
{
    log_capture quiet(0);
    for (size_t size = 0; size < 6; ++size) {
        const auto series = package{.items_88 = {size, 500}, .second_87 = 4, .items_86 = {1000, size}}.series();
        const std::string text = base64(join(series));
        for (const std::string &form : {text, with_escaped_padding(text)}) {
            loader loader;
            loader.finish_after(series.size());
            const progress_capture progress;
            ASSERT_EQ(loader.load(form), 0U);
            std::vector<size_t> told;
            for (const auto &call : progress.calls) {
                EXPECT_EQ(call.step, uint32_t{LPA_PROGRESS__INSTALLING});
                EXPECT_EQ(call.total, join(series).size());
                told.push_back(call.done);
            }
            EXPECT_EQ(told, sums(loader.card.blocks));
            EXPECT_EQ(told.back(), join(series).size());
        }
    }
}

TEST(bound_profile_package, that_the_card_ends_early_tells_no_more_bytes_than_it_took)
{
    log_capture quiet(0);
    const auto series = package{}.series();
    loader loader;
    loader.finish_after(3);
    const progress_capture progress;
    ASSERT_EQ(loader.load(series), 0U);
    EXPECT_EQ(progress.calls.back().done, sums(loader.card.blocks).back());
    EXPECT_LT(progress.calls.back().done, progress.calls.back().total);
}

TEST(bound_profile_package, cut_short_anywhere_sends_only_bytes_of_the_package)
{
    log_capture quiet(0);
    const auto series = package{.secure_channel = 250, .items_88 = {40, 250}, .second_87 = 20}.series();
    const bytes_type whole = join(series);
    const std::string text = base64(whole);
    for (size_t length = 0; length < text.size(); ++length) {
        loader loader;
        loader.finish_after(series.size());
        EXPECT_NE(loader.load(text.substr(0, length)), 0U) << length;
        bytes_type sent;
        for (const auto &block : loader.card.blocks)
            sent.insert(sent.end(), block.data.begin(), block.data.end());
        ASSERT_LE(sent.size(), whole.size());
        EXPECT_TRUE(std::equal(sent.begin(), sent.end(), whole.begin())) << length;
    }
}

TEST(bound_profile_package, changed_anywhere_ends_without_a_loop_or_a_step_outside)
{
    log_capture quiet(0);
    const bytes_type whole =
        join(package{.items_88 = {0, 0, 3, 250}, .second_87 = 20, .items_86 = {0, 1, 260}}.series());
    for (const uint8_t value : {0x00, 0x01, 0x7F, 0x80, 0x81, 0x83, 0x84, 0xFF})
        for (size_t at = 0; at < whole.size(); ++at) {
            bytes_type changed = whole;
            changed[at] = value;
            loader loader;
            const progress_capture progress;
            loader.load(base64(changed));
            EXPECT_LE(loader.card.blocks.size(), whole.size() / 2);
            for (const auto &call : progress.calls)
                EXPECT_LE(call.done, call.total);
        }
}

TEST(bound_profile_package, text_with_foreign_characters_ends_without_a_step_outside)
{
    log_capture quiet(0);
    const std::string text = base64(join(package{.items_88 = {5}, .items_86 = {30}}.series()));
    for (const char foreign : {' ', '=', '\\', '\n', '%'})
        for (size_t at = 0; at < text.size(); ++at) {
            std::string changed = text;
            changed[at] = foreign;
            loader loader;
            loader.load(changed);
            EXPECT_LE(loader.card.blocks.size(), text.size());
        }
}

TEST(bound_profile_package, every_failed_allocation_ends_the_loading_and_leaks_nothing)
{
    const auto series = package{.items_88 = {1}, .second_87 = 4, .items_86 = {1}}.series();
    const std::string text = base64(join(series));
    log_capture quiet(0);
    int n = 1;
    for (;; ++n) {
        loader loader;
        loader.finish_after(series.size());
        failing_memory memory(n);
        const uint32_t rc = loader.load(text);
        EXPECT_EQ(loader.has_result, rc == 0) << n;
        if (!failing_memory::reached()) break;
        EXPECT_NE(rc, 0U) << n;
    }
    EXPECT_GT(n, 10);
}
} // namespace
