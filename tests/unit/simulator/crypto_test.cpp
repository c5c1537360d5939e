#include "simulator/crypto.h"
#include "support/bytes.h"
#include <gtest/gtest.h>

namespace {
using sim::byte_vector;
using sim::segment_protection;

const byte_vector shared_secret = bytes("c9a993dd4879a8f7161f2085410edd4f9652f1df37be097ba96ba2ca6be528fe");
const byte_vector host_id = bytes("8080808080808080");
const byte_vector eid = bytes("89049032123451234512345678901235");

const byte_vector configure_isdp = bytes("bf2400");
const byte_vector store_metadata =
    bytes("bf252d5a0a98001032547698103214910947534d415f54455354921147534d415f544553545f50524f46494c45950100");
const byte_vector replace_session_keys =
    bytes("bf26368010000102030405060708090a0b0c0d0e0f8110010102030405060708090a0b0c"
          "0d0e0f8210020102030405060708090a0b0c0d0e0f");
const byte_vector first_segment = bytes("8718f6fe031e4b9cfe87c8e1e62f3fde85c49412d7722a6a2d89");
const byte_vector second_segment = bytes(
    "8838bf252d5a0a98001032547698103214910947534d415f54455354921147534d415f544553545f50524f46494c459501008a62cc9adbb5ccbc");
const byte_vector third_segment = bytes(
    "8748a14c800a001992351cd46ad2945654674369701d82b7b46567652bc8fbed234939fc57fba748015525fd6c651e9d3d1330652d42a0"
    "cfad950e912122af4ec5362d3c0bc535729c40");

sim::session_keys known_keys() { return sim::derive_session_keys(shared_secret, host_id, eid); }

template <size_t Size> std::string hex(const std::array<uint8_t, Size> &data) { return ::hex(data.data(), Size); }

TEST(derive_session_keys, known_answer)
{
    const auto keys = known_keys();
    EXPECT_EQ(hex(keys.enc), "472F5BFADD97F21D34F3CE9B51B92751");
    EXPECT_EQ(hex(keys.mac), "9EC07F5B36A13E12A991D66E294E6242");
    EXPECT_EQ(hex(keys.mac_chaining_value), "406D507B448A699E7A36A38494DEBBDE");
}

TEST(segment_protection, protects_known_segments)
{
    segment_protection protection(known_keys());
    EXPECT_EQ(::hex(protection.protect(0x87, configure_isdp)), ::hex(first_segment));
    EXPECT_EQ(::hex(protection.mac_only(0x88, store_metadata)), ::hex(second_segment));
    EXPECT_EQ(::hex(protection.protect(0x87, replace_session_keys)), ::hex(third_segment));
}

TEST(segment_protection, opens_known_segments)
{
    segment_protection protection(known_keys());
    EXPECT_EQ(protection.open(first_segment), configure_isdp);
    EXPECT_EQ(protection.open_mac_only(second_segment), store_metadata);
    EXPECT_EQ(protection.open(third_segment), replace_session_keys);
}

TEST(segment_protection, every_data_size_comes_back_and_grows_by_whole_blocks)
{
    segment_protection server(known_keys());
    segment_protection card(known_keys());
    for (size_t size = 0; size <= 1007; size += size < 300 ? 1 : 101) {
        const byte_vector data(size, static_cast<uint8_t>(size));
        const byte_vector segment = server.protect(0x86, data);
        EXPECT_LE(segment.size(), segment_protection::max_segment_bytes);
        EXPECT_EQ(sim::read_element(segment)->value.size() % 16, 8U);
        ASSERT_EQ(card.open(segment), data) << size;
    }
}

TEST(segment_protection, a_longest_segment_has_1020_bytes)
{
    segment_protection server(known_keys());
    segment_protection card(known_keys());
    const byte_vector longest = server.protect(0x86, byte_vector(1007, 1));
    EXPECT_EQ(longest.size(), segment_protection::max_segment_bytes);
    EXPECT_TRUE(card.open(longest));
    EXPECT_FALSE(card.open(server.protect(0x86, byte_vector(1008, 1))));
}

TEST(segment_protection, refuses_every_changed_byte_and_every_cut)
{
    for (size_t i = 0; i < first_segment.size(); ++i) {
        byte_vector changed = first_segment;
        changed[i] ^= 0x01;
        EXPECT_FALSE(segment_protection(known_keys()).open(changed)) << i;
        const byte_vector cut(first_segment.begin(), first_segment.begin() + static_cast<ptrdiff_t>(i));
        EXPECT_FALSE(segment_protection(known_keys()).open(cut)) << i;
        EXPECT_FALSE(segment_protection(known_keys()).open_mac_only(cut)) << i;
    }
}

TEST(segment_protection, a_refused_segment_leaves_the_session_as_it_was)
{
    segment_protection protection(known_keys());
    EXPECT_FALSE(protection.open(second_segment));
    EXPECT_FALSE(protection.open_mac_only(third_segment));
    EXPECT_EQ(protection.open(first_segment), configure_isdp);
    EXPECT_FALSE(protection.open(first_segment)); // a repeated one no longer fits the chain
    EXPECT_EQ(protection.open_mac_only(second_segment), store_metadata);
}

TEST(segment_protection, a_right_mac_over_wrong_padding_is_refused)
{
    segment_protection maker(known_keys());
    // What looks like ciphertext is not: 16 bytes that decrypt to something without 80 00...
    EXPECT_FALSE(segment_protection(known_keys()).open(maker.mac_only(0x87, byte_vector(16, 0))));
    segment_protection other(known_keys());
    EXPECT_FALSE(segment_protection(known_keys()).open(other.mac_only(0x87, byte_vector(15, 0))));
    segment_protection empty(known_keys());
    EXPECT_FALSE(segment_protection(known_keys()).open(empty.mac_only(0x87, {})));
}

TEST(key_pair, signs_64_bytes_that_verify_only_for_that_key_and_data)
{
    const auto key = sim::key_pair::generate();
    const auto other = sim::key_pair::generate();
    const byte_vector data{1, 2, 3};
    for (int i = 0; i < 50; ++i) { // r and s are shorter than 32 bytes now and then
        const byte_vector signature = key.sign(data);
        ASSERT_EQ(signature.size(), 64U);
        ASSERT_TRUE(sim::verify_signature(key.public_point(), data, signature));
    }
    byte_vector signature = key.sign(data);
    EXPECT_FALSE(sim::verify_signature(other.public_point(), data, signature));
    EXPECT_FALSE(sim::verify_signature(key.public_point(), byte_vector{1, 2}, signature));
    EXPECT_FALSE(sim::verify_signature(key.public_point(), data, byte_vector(63)));
    EXPECT_FALSE(sim::verify_signature(byte_vector(65, 4), data, signature));
    signature[0] ^= 1;
    EXPECT_FALSE(sim::verify_signature(key.public_point(), data, signature));
}

TEST(key_pair, both_sides_agree)
{
    const auto card = sim::key_pair::generate();
    const auto server = sim::key_pair::generate();
    EXPECT_EQ(card.agree(server.public_point()), server.agree(card.public_point()));
    EXPECT_EQ(card.agree(server.public_point()).size(), 32U);
}

TEST(key_pair, refuses_what_is_no_point_of_the_curve)
{
    const auto key = sim::key_pair::generate();
    byte_vector off_curve = key.public_point();
    EXPECT_EQ(off_curve.size(), 65U);
    off_curve[64] ^= 1;
    EXPECT_THROW(key.agree(off_curve), std::runtime_error);
    EXPECT_THROW(key.agree({}), std::runtime_error);
    EXPECT_THROW(key.agree(byte_vector(64, 4)), std::runtime_error);
}

TEST(key_pair, survives_as_pem)
{
    const auto key = sim::key_pair::generate();
    const auto copy = sim::key_pair::from_pem(key.to_pem());
    EXPECT_EQ(copy.public_point(), key.public_point());
    EXPECT_TRUE(sim::verify_signature(key.public_point(), byte_vector{7}, copy.sign(byte_vector{7})));
    EXPECT_THROW(sim::key_pair::from_pem("no key"), std::runtime_error);
}

TEST(sha256, known_answer)
{
    EXPECT_EQ(sim::to_hex(sim::sha256(byte_vector{'a', 'b', 'c'})),
              "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
}

TEST(random_bytes, differ) { EXPECT_NE(sim::random_bytes(16), sim::random_bytes(16)); }

TEST(base64, known_answers_there_and_back)
{
    const std::pair<const char *, const char *> table[] = {
        {"", ""}, {"66", "Zg=="}, {"666F", "Zm8="}, {"666F6F", "Zm9v"}, {"FBEFFF", "++//"}, {"00000000", "AAAAAA=="}};
    for (const auto &[data, text] : table) {
        EXPECT_EQ(sim::to_base64(bytes(data)), text);
        EXPECT_EQ(sim::to_hex(sim::from_base64(text)), data);
    }
}

TEST(base64, refuses_bad_text)
{
    for (const char *text : {"Z", "Zg=", "Zg==Zg==", "Zg= ", "Zm9v\n", "====", "Z===", "Zh==", "Zm9=", "Zm-_"})
        EXPECT_THROW(sim::from_base64(text), std::runtime_error) << text;
}

TEST(hex_text, is_upper_case_and_read_in_both_cases)
{
    EXPECT_EQ(sim::to_hex(byte_vector{0x0A, 0xBF}), "0ABF");
    EXPECT_EQ(sim::from_hex("0aBf"), (byte_vector{0x0A, 0xBF}));
    EXPECT_THROW(sim::from_hex("0"), std::runtime_error);
    EXPECT_THROW(sim::from_hex("0G"), std::runtime_error);
    EXPECT_THROW(sim::from_hex(" 0"), std::runtime_error);
}
} // namespace
