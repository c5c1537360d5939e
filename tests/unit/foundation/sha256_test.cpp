#include "foundation/sha256.h"
#include "support/bytes.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace {
std::string digest_in_pieces(const std::string &text, size_t piece)
{
    sha256_context context;
    sha256_init(&context);
    for (size_t offset = 0; offset < text.size(); offset += piece)
        sha256_update(&context, reinterpret_cast<const uint8_t *>(text.data()) + offset,
                      static_cast<uint32_t>(std::min(piece, text.size() - offset)));
    uint8_t digest[SHA256_BYTES];
    sha256_final(&context, digest);
    return hex(digest, sizeof digest);
}

struct known_answer {
    const char *name;
    std::string text;
    const char *digest;
};
class sha256 : public testing::TestWithParam<known_answer> {};

TEST_P(sha256, gives_the_known_answer_however_the_text_is_cut)
{
    const std::string &text = GetParam().text;
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{63}, size_t{64}, size_t{65}, size_t{1000000}})
        EXPECT_EQ(digest_in_pieces(text, piece), GetParam().digest) << piece;
}

INSTANTIATE_TEST_SUITE_P(
    table, sha256,
    testing::Values(known_answer{"nothing", "", "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855"},
                    known_answer{"abc", "abc", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"},
                    known_answer{"two_blocks_of_fips_180", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
                                 "248D6A61D20638B8E5C026930C3E6039A33CE45964FF2167F6ECEDD419DB06C1"},
                    known_answer{"length_fits_the_block_just", std::string(55, 'a'),
                                 "9F4390F8D30C2DD92EC9F095B65E2B9AE9B0A925A5258E241C9F1E910F734318"},
                    known_answer{"length_needs_another_block", std::string(56, 'a'),
                                 "B35439A4AC6F0948B6D6F9E3C6AF0F5F590CE20F1BDE7090EF7970686EC6738A"},
                    known_answer{"block_but_one_byte", std::string(63, 'a'),
                                 "7D3E74A05D7DB15BCE4AD9EC0658EA98E3F06EEECF16B4C6FFF2DA457DDC2F34"},
                    known_answer{"one_block", std::string(64, 'a'),
                                 "FFE054FE7AE0CB6DC65C3AF9B61D5209F439851DB43D0BA5997337DF154668EB"},
                    known_answer{"block_and_a_byte", std::string(65, 'a'),
                                 "635361C48BB9EAB14198E76EA8AB7F1A41685D6AD62AA9146D301D4F17EB0AE0"},
                    known_answer{"two_blocks_with_the_length_just", std::string(119, 'a'),
                                 "31EBA51C313A5C08226ADF18D4A359CFDFD8D2E816B13F4AF952F7EA6584DCFB"},
                    known_answer{"three_blocks", std::string(120, 'a'),
                                 "2F3D335432C70B580AF0E8E1B3674A7C020D683AA5F73AAAEDFDC55AF904C21C"},
                    known_answer{"a_million_a", std::string(1000000, 'a'),
                                 "CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(sha256, takes_no_data_as_nothing)
{
    sha256_context context;
    sha256_init(&context);
    sha256_update(&context, nullptr, 0);
    uint8_t digest[SHA256_BYTES];
    sha256_final(&context, digest);
    EXPECT_EQ(hex(digest, sizeof digest), digest_in_pieces("", 1));
}
} // namespace
