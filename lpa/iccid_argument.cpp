#include "lpa/iccid_argument.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <string.h>

namespace {

constexpr uint32_t shortest = 18;
constexpr uint32_t longest = 2 * ICCID_BYTES;

bool is_accepted(char character, uint32_t position)
{
    return (character >= '0' && character <= '9') || (position >= shortest && character == 'F');
}

} // namespace

uint32_t parse_iccid(const char *text, uint8_t iccid[10])
{
    if (!text) {
        log__string(LOG__ERROR, "[parse_iccid] ICCID input is null");
        return RESULT__BAD_ARGUMENT;
    }
    const size_t length = strlen(text);
    if (length < shortest || length > longest) {
        log__string(LOG__ERROR,
                    "[parse_iccid] ICCID input has incorrect length [%d], the iccid length needs to be from 18 to 20",
                    (int)length);
        return RESULT__BAD_ARGUMENT;
    }
    char padded[longest];
    memset(padded, 'F', sizeof padded);
    memcpy(padded, text, length); // NOLINT(bugprone-not-null-terminated-result): padded counts, it has no terminator
    for (uint32_t i = 0; i < longest; ++i) {
        if (is_accepted(padded[i], i)) continue;
        log__string(LOG__ERROR,
                    "[parse_iccid] The character %u of the iccid dont follow the pattern ^[0-9]{19}[0-9F]?$", i + 1);
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t converted = byte_utils__hex_string_to_byte_array(padded, sizeof padded, iccid, ICCID_BYTES);
    if (converted < 0) { // cannot happen: every character is a hex digit
        log__string(LOG__ERROR, "[parse_iccid] Bad argument when trying to convert iccid string to byte, rc %d",
                    converted);
        return (uint32_t)-converted;
    }
    log__data(LOG__DEBUG, "[parse_iccid] ICCID", iccid, ICCID_BYTES);
    return RESULT__OK;
}
