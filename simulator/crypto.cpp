#include "simulator/crypto.h"
#include <algorithm>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <stdexcept>

namespace sim {
namespace {
constexpr size_t coordinate_bytes = 32;
constexpr size_t point_bytes = 1 + 2 * coordinate_bytes;
constexpr size_t block_bytes = 16;
constexpr size_t segment_mac_bytes = 8;
using block = std::array<uint8_t, block_bytes>;

template <auto release> struct releaser {
    template <typename Object> void operator()(Object *object) const { release(object); }
};
template <typename Object, auto release> using handle = std::unique_ptr<Object, releaser<release>>;
using bio = handle<BIO, BIO_free_all>;
using cipher_context = handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using digest_context = handle<EVP_MD_CTX, EVP_MD_CTX_free>;
using key_context = handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using mac_context = handle<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using raw_signature = handle<ECDSA_SIG, ECDSA_SIG_free>;

void require(bool condition, const char *what)
{
    if (!condition) throw std::runtime_error(what);
}

std::shared_ptr<EVP_PKEY> own(EVP_PKEY *key) { return {key, EVP_PKEY_free}; }

// Nothing when the bytes are no point of the curve.
std::shared_ptr<EVP_PKEY> public_key(byte_view point)
{
    if (point.size() != point_bytes || point[0] != 0x04) return nullptr;
    byte_vector copy(point.begin(), point.end()); // OpenSSL takes parameters by plain pointer
    char group[] = "prime256v1";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
        OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, copy.data(), copy.size()),
        OSSL_PARAM_construct_end()};
    const key_context context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY *key = nullptr;
    if (EVP_PKEY_fromdata_init(context.get()) != 1) return nullptr;
    if (EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, const_cast<OSSL_PARAM *>(parameters)) != 1)
        return nullptr;
    return own(key);
}

// Without padding: the callers pad to whole blocks as SCP03t wants it.
byte_vector aes_128(const EVP_CIPHER *cipher, byte_view key, const uint8_t *iv, byte_view data, bool encrypt)
{
    const cipher_context context(EVP_CIPHER_CTX_new());
    byte_vector result(data.size() + block_bytes);
    int written = 0;
    int rest = 0;
    require(EVP_CipherInit_ex(context.get(), cipher, nullptr, key.data(), iv, encrypt ? 1 : 0) == 1 &&
                EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
                EVP_CipherUpdate(context.get(), result.data(), &written, data.data(), static_cast<int>(data.size())) ==
                    1 &&
                EVP_CipherFinal_ex(context.get(), result.data() + written, &rest) == 1,
            "AES failed");
    result.resize(static_cast<size_t>(written) + static_cast<size_t>(rest));
    return result;
}

block initial_vector(const block &key, uint32_t block_counter)
{
    block counter{};
    for (size_t i = 0; i < 4; ++i)
        counter[block_bytes - 1 - i] = static_cast<uint8_t>(block_counter >> (8U * i));
    const byte_vector encrypted = aes_128(EVP_aes_128_ecb(), key, nullptr, counter, true);
    block result{};
    std::copy(encrypted.begin(), encrypted.end(), result.begin());
    return result;
}

block aes_cmac(const block &key, std::initializer_list<byte_view> pieces)
{
    static const handle<EVP_MAC, EVP_MAC_free> algorithm(EVP_MAC_fetch(nullptr, "CMAC", nullptr));
    const mac_context context(EVP_MAC_CTX_new(algorithm.get()));
    char cipher[] = "AES-128-CBC";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_CIPHER, cipher, 0),
                                     OSSL_PARAM_construct_end()};
    bool done = EVP_MAC_init(context.get(), key.data(), key.size(), parameters) == 1;
    for (const byte_view piece : pieces)
        done = done && EVP_MAC_update(context.get(), piece.data(), piece.size()) == 1;
    block result{};
    size_t written = 0;
    done = done && EVP_MAC_final(context.get(), result.data(), &written, result.size()) == 1;
    require(done && written == result.size(), "AES-CMAC failed");
    return result;
}

byte_vector padded(byte_view data)
{
    byte_vector result(data.begin(), data.end());
    result.push_back(0x80);
    result.resize((result.size() + block_bytes - 1) / block_bytes * block_bytes);
    return result;
}

std::optional<byte_vector> without_padding(byte_vector data)
{
    const size_t longest = std::min(data.size(), block_bytes);
    for (size_t i = 0; i < longest; ++i) {
        const uint8_t last = data.back();
        data.pop_back();
        if (last == 0x80) return data;
        if (last != 0x00) return std::nullopt;
    }
    return std::nullopt;
}

// tag || length || data || C-MAC, where the length already counts the C-MAC. Moves the chaining value on.
byte_vector with_mac(session_keys &keys, uint16_t tag, byte_view data)
{
    static constexpr uint8_t no_mac_yet[segment_mac_bytes] = {};
    byte_vector segment = tlv(tag, join({data, no_mac_yet}));
    const size_t maced = segment.size() - segment_mac_bytes;
    keys.mac_chaining_value = aes_cmac(keys.mac, {keys.mac_chaining_value, byte_view(segment).first(maced)});
    std::copy_n(keys.mac_chaining_value.begin(), segment_mac_bytes, segment.begin() + static_cast<ptrdiff_t>(maced));
    return segment;
}

// The data between length and C-MAC. The chaining value moves on only when the C-MAC is right.
std::optional<byte_view> checked_data(session_keys &keys, byte_view segment)
{
    const auto found = read_element(segment);
    if (!found || found->whole.size() != segment.size() || segment.size() > segment_protection::max_segment_bytes)
        return std::nullopt;
    if (found->value.size() < segment_mac_bytes) return std::nullopt;
    const byte_view maced = segment.first(segment.size() - segment_mac_bytes);
    const block chaining_value = aes_cmac(keys.mac, {keys.mac_chaining_value, maced});
    if (CRYPTO_memcmp(chaining_value.data(), segment.last(segment_mac_bytes).data(), segment_mac_bytes) != 0)
        return std::nullopt;
    keys.mac_chaining_value = chaining_value;
    return found->value.first(found->value.size() - segment_mac_bytes);
}

int hex_digit(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    throw std::runtime_error("not a hexadecimal digit");
}

constexpr std::array<int, 256> base64_digits = [] {
    std::array<int, 256> result{};
    result.fill(-1);
    int value = 0;
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
        result[static_cast<uint8_t>(c)] = value++;
    return result;
}();
} // namespace

key_pair key_pair::generate()
{
    key_pair result;
    result.key_ = own(EVP_EC_gen("P-256"));
    require(result.key_ != nullptr, "no key generated");
    return result;
}

key_pair key_pair::from_pem(const std::string &pem)
{
    const bio in(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    key_pair result;
    result.key_ = own(PEM_read_bio_PrivateKey(in.get(), nullptr, nullptr, nullptr));
    require(result.key_ && EVP_PKEY_is_a(result.key_.get(), "EC"), "no EC private key in the PEM text");
    require(result.public_point().size() == point_bytes, "not a P-256 key");
    return result;
}

std::string key_pair::to_pem() const
{
    const bio out(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_PrivateKey(out.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
            "key not written");
    char *text = nullptr;
    const long length = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<size_t>(length)};
}

byte_vector key_pair::public_point() const
{
    unsigned char *encoded = nullptr;
    const size_t length = EVP_PKEY_get1_encoded_public_key(key_.get(), &encoded);
    require(length > 0, "no public key");
    byte_vector result(encoded, encoded + length);
    OPENSSL_free(encoded);
    return result;
}

byte_vector key_pair::sign(byte_view data) const
{
    const digest_context context(EVP_MD_CTX_new());
    size_t length = 0;
    require(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key_.get()) == 1 &&
                EVP_DigestSign(context.get(), nullptr, &length, data.data(), data.size()) == 1,
            "signing failed");
    byte_vector der(length);
    require(EVP_DigestSign(context.get(), der.data(), &length, data.data(), data.size()) == 1, "signing failed");
    const unsigned char *position = der.data();
    const raw_signature numbers(d2i_ECDSA_SIG(nullptr, &position, static_cast<long>(length)));
    byte_vector result(2 * coordinate_bytes);
    require(numbers && BN_bn2binpad(ECDSA_SIG_get0_r(numbers.get()), result.data(), coordinate_bytes) > 0 &&
                BN_bn2binpad(ECDSA_SIG_get0_s(numbers.get()), result.data() + coordinate_bytes, coordinate_bytes) > 0,
            "signing failed");
    return result;
}

byte_vector key_pair::agree(byte_view peer) const
{
    const auto peer_key = public_key(peer);
    require(peer_key != nullptr, "the other side's key is no point of the curve");
    const key_context context(EVP_PKEY_CTX_new_from_pkey(nullptr, key_.get(), nullptr));
    byte_vector result(coordinate_bytes);
    size_t length = result.size();
    require(EVP_PKEY_derive_init(context.get()) == 1 && EVP_PKEY_derive_set_peer(context.get(), peer_key.get()) == 1 &&
                EVP_PKEY_derive(context.get(), result.data(), &length) == 1 && length == coordinate_bytes,
            "key agreement failed");
    return result;
}

bool verify_signature(byte_view public_point, byte_view data, byte_view signature)
{
    const auto key = public_key(public_point);
    if (!key || signature.size() != 2 * coordinate_bytes) return false;
    const raw_signature numbers(ECDSA_SIG_new());
    ECDSA_SIG_set0(numbers.get(), BN_bin2bn(signature.data(), coordinate_bytes, nullptr),
                   BN_bin2bn(signature.data() + coordinate_bytes, coordinate_bytes, nullptr));
    unsigned char *der = nullptr;
    const int length = i2d_ECDSA_SIG(numbers.get(), &der);
    require(length > 0, "signature not encoded");
    const digest_context context(EVP_MD_CTX_new());
    const bool valid = EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
                       EVP_DigestVerify(context.get(), der, static_cast<size_t>(length), data.data(), data.size()) == 1;
    OPENSSL_free(der);
    return valid;
}

byte_vector sha256(byte_view data)
{
    byte_vector result(32);
    require(EVP_Digest(data.data(), data.size(), result.data(), nullptr, EVP_sha256(), nullptr) == 1, "SHA-256 failed");
    return result;
}

byte_vector random_bytes(size_t count)
{
    byte_vector result(count);
    require(RAND_bytes(result.data(), static_cast<int>(count)) == 1, "no random bytes");
    return result;
}

std::string to_base64(byte_view data)
{
    std::string result(4 * ((data.size() + 2) / 3) + 1, '\0'); // EVP_EncodeBlock ends its text with a zero
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char *>(result.data()), data.data(), static_cast<int>(data.size()));
    result.resize(static_cast<size_t>(length));
    return result;
}

byte_vector from_base64(const std::string &text)
{
    require(text.size() % 4 == 0, "base64 text is not in groups of four");
    size_t digits = text.size();
    while (digits > 0 && text[digits - 1] == '=' && text.size() - digits < 2)
        --digits;
    byte_vector result;
    result.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    uint32_t count = 0;
    for (size_t i = 0; i < digits; ++i) {
        const int value = base64_digits[static_cast<uint8_t>(text[i])];
        require(value >= 0, "not a base64 digit");
        bits = bits << 6U | static_cast<uint32_t>(value);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        result.push_back(static_cast<uint8_t>(bits >> count));
    }
    require((bits & ((1U << count) - 1U)) == 0, "base64 text ends in stray bits");
    return result;
}

std::string to_hex(byte_view data)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(2 * data.size());
    for (const uint8_t byte : data) {
        result += digits[byte >> 4U];
        result += digits[byte & 0x0FU];
    }
    return result;
}

byte_vector from_hex(const std::string &text)
{
    require(text.size() % 2 == 0, "half a hexadecimal byte");
    byte_vector result;
    result.reserve(text.size() / 2);
    for (size_t i = 0; i < text.size(); i += 2)
        result.push_back(static_cast<uint8_t>(hex_digit(text[i]) * 16 + hex_digit(text[i + 1])));
    return result;
}

session_keys derive_session_keys(byte_view shared_secret, byte_view host_id, byte_view eid)
{
    // keyType and keyLen of the control reference template, then both identities with their lengths.
    const uint8_t key_usage[] = {0x88, 0x10, static_cast<uint8_t>(host_id.size())};
    const uint8_t eid_length[] = {static_cast<uint8_t>(eid.size())};
    const byte_vector shared_info = join({key_usage, host_id, eid_length, eid});
    byte_vector stream;
    for (uint8_t counter = 1; counter <= 2; ++counter) {
        const uint8_t round[] = {0, 0, 0, counter};
        stream = join({stream, sha256(join({shared_secret, round, shared_info}))});
    }
    session_keys keys{};
    std::copy_n(stream.begin(), 16, keys.mac_chaining_value.begin());
    std::copy_n(stream.begin() + 16, 16, keys.enc.begin());
    std::copy_n(stream.begin() + 32, 16, keys.mac.begin());
    return keys;
}

segment_protection::segment_protection(const session_keys &keys) : keys_(keys) {}

byte_vector segment_protection::protect(uint16_t tag, byte_view data)
{
    const block iv = initial_vector(keys_.enc, block_counter_++);
    return with_mac(keys_, tag, aes_128(EVP_aes_128_cbc(), keys_.enc, iv.data(), padded(data), true));
}

byte_vector segment_protection::mac_only(uint16_t tag, byte_view data)
{
    ++block_counter_;
    return with_mac(keys_, tag, data);
}

std::optional<byte_vector> segment_protection::open(byte_view segment)
{
    const auto data = checked_data(keys_, segment);
    if (!data || data->empty() || data->size() % block_bytes != 0) return std::nullopt;
    const block iv = initial_vector(keys_.enc, block_counter_++);
    return without_padding(aes_128(EVP_aes_128_cbc(), keys_.enc, iv.data(), *data, false));
}

std::optional<byte_vector> segment_protection::open_mac_only(byte_view segment)
{
    const auto data = checked_data(keys_, segment);
    if (!data) return std::nullopt;
    ++block_counter_;
    return byte_vector(data->begin(), data->end());
}

} // namespace sim
