// Codecs in bytes a second of the text or element they read (hexadecimal: of the bytes), each beside memcpy of as many
// bytes, base64 beside OpenSSL's too.
#include "foundation/base64.h"
#include "foundation/byte_utils.h"
#include "tlv/ber_tlv_parser.h"
#include <benchmark/benchmark.h>
#include <cstring>
#include <openssl/evp.h>
#include <string>
#include <vector>

namespace {
constexpr size_t data_bytes = 48 * 1024; // fits in the second level cache with what is made of it
constexpr size_t element_bytes = 64;
constexpr size_t text_bytes = data_bytes / 3 * 4;

const std::vector<uint8_t> &data()
{
    static const std::vector<uint8_t> filled = [] {
        std::vector<uint8_t> bytes(data_bytes);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(i * 2654435761U >> 11U);
        return bytes;
    }();
    return filled;
}

const std::string &text()
{
    static const std::string encoded = [] {
        std::string characters(text_bytes + 1, '\0'); // OpenSSL terminates it
        EVP_EncodeBlock(reinterpret_cast<unsigned char *>(characters.data()), data().data(), data_bytes);
        characters.resize(text_bytes);
        return characters;
    }();
    return encoded;
}

std::vector<uint8_t> elements()
{
    std::vector<uint8_t> bytes(data_bytes);
    for (size_t i = 0; i < bytes.size(); i += element_bytes) {
        bytes[i] = 0x86;
        bytes[i + 1] = element_bytes - 2;
    }
    return bytes;
}

void processed(benchmark::State &state, size_t bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void copy(benchmark::State &state)
{
    std::vector<uint8_t> out(data_bytes);
    for (auto _ : state) {
        memcpy(out.data(), data().data(), data_bytes);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    processed(state, data_bytes);
}

void base64_decoding(benchmark::State &state)
{
    std::vector<uint8_t> out(data_bytes);
    for (auto _ : state) {
        if (b64_decode_static(out.data(), data_bytes, text().data(), text_bytes) != data_bytes)
            state.SkipWithError("not decoded");
        benchmark::ClobberMemory();
    }
    processed(state, text_bytes);
}

void base64_decoding_openssl(benchmark::State &state)
{
    std::vector<uint8_t> out(data_bytes);
    const auto *characters = reinterpret_cast<const unsigned char *>(text().data());
    for (auto _ : state) {
        if (EVP_DecodeBlock(out.data(), characters, text_bytes) != data_bytes) state.SkipWithError("not decoded");
        benchmark::ClobberMemory();
    }
    processed(state, text_bytes);
}

void hex_encoding(benchmark::State &state)
{
    std::vector<char> out(2 * data_bytes);
    for (auto _ : state) {
        if (byte_utils__byte_array_to_hex_string(data().data(), data_bytes, out.data(), 2 * data_bytes) != 0)
            state.SkipWithError("not encoded");
        benchmark::ClobberMemory();
    }
    processed(state, data_bytes);
}

void tlv_walking(benchmark::State &state)
{
    const std::vector<uint8_t> run = elements();
    for (auto _ : state) {
        uint32_t offset = 0;
        ber_tlv_record record;
        while (offset < run.size() &&
               ber_tlv_parser__ber_tlv_2(run.data(), static_cast<uint32_t>(run.size()), offset, &record) == 0)
            offset += record.tag_bytes + record.length_bytes + record.length;
        if (offset != run.size()) state.SkipWithError("not walked");
    }
    processed(state, run.size());
}
} // namespace

BENCHMARK(copy);
BENCHMARK(base64_decoding);
BENCHMARK(base64_decoding_openssl);
BENCHMARK(hex_encoding);
BENCHMARK(tlv_walking);
BENCHMARK_MAIN();
