#include "support/bytes.h"
#include <cctype>
#include <cstdio>

std::vector<uint8_t> bytes(std::string_view hex_digits)
{
    std::string digits;
    for (const char c : hex_digits)
        if (!isspace(static_cast<unsigned char>(c))) digits += c;
    std::vector<uint8_t> result;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        result.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return result;
}

std::string hex(const uint8_t *data, size_t length)
{
    std::string result;
    char digits[3];
    for (size_t i = 0; i < length; ++i) {
        snprintf(digits, sizeof digits, "%02X", data[i]);
        result += digits;
    }
    return result;
}
