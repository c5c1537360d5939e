// Bytes from readable hex and back: bytes("BF 2D 00"), hex({0xBF, 0x2D, 0x00}) == "BF2D00".
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

std::vector<uint8_t> bytes(std::string_view hex_digits);
std::string hex(const uint8_t *data, size_t length);
inline std::string hex(const std::vector<uint8_t> &data) { return hex(data.data(), data.size()); }
