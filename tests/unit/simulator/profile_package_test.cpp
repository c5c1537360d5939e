#include "simulator/crypto.h"
#include "simulator/profile_package.h"
#include "support/bytes.h"
#include <gtest/gtest.h>

namespace {
using sim::byte_vector;
using sim::byte_view;
using progress = sim::profile_package_reader::progress;

const byte_vector iccid = bytes("98001032547698103214");

progress read_in_pieces(sim::profile_package_reader &reader, byte_view package, size_t piece)
{
    progress result = progress::more;
    for (; !package.empty(); package = package.subspan(std::min(piece, package.size())))
        result = reader.add(package.first(std::min(piece, package.size())));
    return result;
}

TEST(encode_profile_package, has_exactly_the_size_asked_for)
{
    // Every size around the places where a length takes one byte more or a filler is added.
    for (size_t size = sim::smallest_profile_package; size < 9000; size += size < 700 || size % 4000 < 150 ? 1 : 61) {
        const byte_vector package = sim::encode_profile_package(iccid, size, size);
        ASSERT_EQ(package.size(), size);
        sim::profile_package_reader reader;
        ASSERT_EQ(reader.add(package), progress::complete) << size;
    }
    EXPECT_EQ(sim::encode_profile_package(iccid, 9'000'001, 1).size(), 9'000'001U);
    EXPECT_THROW(sim::encode_profile_package(iccid, sim::smallest_profile_package - 1, 1), std::invalid_argument);
}

TEST(encode_profile_package, follows_from_its_seed)
{
    EXPECT_EQ(sim::encode_profile_package(iccid, 5000, 7), sim::encode_profile_package(iccid, 5000, 7));
    EXPECT_NE(sim::encode_profile_package(iccid, 5000, 7), sim::encode_profile_package(iccid, 5000, 8));
}

TEST(profile_package_reader, takes_pieces_of_any_size)
{
    const byte_vector package = sim::encode_profile_package(iccid, 20000, 3);
    for (const size_t piece : {1U, 2U, 16U, 1007U, 20000U}) {
        sim::profile_package_reader reader;
        EXPECT_EQ(read_in_pieces(reader, package, piece), progress::complete);
        EXPECT_EQ(reader.state(), progress::complete);
        EXPECT_EQ(reader.iccid(), iccid);
        EXPECT_EQ(reader.size(), package.size());
        EXPECT_EQ(reader.sha256(), sim::sha256(package));
    }
}

TEST(profile_package_reader, a_shortened_package_is_not_complete)
{
    const byte_vector package = sim::encode_profile_package(iccid, 300, 3);
    for (size_t size = 0; size < package.size(); ++size) {
        sim::profile_package_reader reader;
        EXPECT_EQ(reader.add(byte_view(package).first(size)), progress::more) << size;
    }
}

TEST(profile_package_reader, an_unknown_element_is_bad_and_stays_so)
{
    const byte_vector package = sim::encode_bad_profile_package(iccid, 20000, 3);
    EXPECT_EQ(package.size(), 20000U);
    sim::profile_package_reader reader;
    EXPECT_EQ(read_in_pieces(reader, package, 1007), progress::bad);
    EXPECT_EQ(reader.add({}), progress::bad);
    EXPECT_EQ(reader.sha256(), sim::sha256(package));
}

struct bad_case {
    const char *name, *input;
};
class profile_package_reader_refuses : public testing::TestWithParam<bad_case> {};

TEST_P(profile_package_reader_refuses, damaged_package)
{
    sim::profile_package_reader reader;
    EXPECT_EQ(reader.add(bytes(GetParam().input)), progress::bad);
}

INSTANTIATE_TEST_SUITE_P(
    table, profile_package_reader_refuses,
    testing::ValuesIn(std::to_array<bad_case>({
        {"no_header", "A1 05 80 01 00 81 00"},
        {"two_headers", "A0 0F 80 01 01 81 0A 98001032547698103214 A0 0F 80 01 01 81 0A 98001032547698103214"},
        {"another_version", "A0 0F 80 01 02 81 0A 98001032547698103214"},
        {"a_short_iccid", "A0 07 80 01 01 81 02 9800"},
        {"a_filler_out_of_order", "A0 0F 80 01 01 81 0A 98001032547698103214 A1 05 80 01 01 81 00"},
        {"a_filler_without_bytes", "A0 0F 80 01 01 81 0A 98001032547698103214 A1 03 80 01 00"},
        {"a_wrong_count_at_the_end", "A0 0F 80 01 01 81 0A 98001032547698103214 AA 03 80 01 01"},
        {"bytes_after_the_end", "A0 0F 80 01 01 81 0A 98001032547698103214 AA 03 80 01 00 00"},
        {"an_element_after_the_end", "A0 0F 80 01 01 81 0A 98001032547698103214 AA 03 80 01 00 A1 05 80 01 00 81 00"},
        {"an_element_without_contents", "A0 0F 80 01 01 81 0A 98001032547698103214 A1 00"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(profile_package_reader, an_element_without_end_is_bad)
{
    byte_vector endless = bytes("A0 84 7F FF FF FF");
    endless.resize(5000);
    sim::profile_package_reader reader;
    EXPECT_EQ(reader.add(endless), progress::bad);
}
} // namespace
