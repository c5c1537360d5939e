// The modem's answers to AT+CSIM and AT+CMEE. Input: answers, each ended by record_end.
#include "euicc/apdu.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/scripted_world.h"
#include "unit/fakes/fake_modem.h"
#include <cstring>
#include <string>

namespace {
constexpr uint8_t get_response[] = {0x80, 0xC0, 0x00, 0x00, 0x00};

void answer_with(input_bytes answers)
{
    fake_modem.reset();
    constexpr size_t most = 64; // GET RESPONSE goes on as long as the card announces more
    for (fuzz_input input(answers.data(), answers.size()); !input.empty() && fake_modem.script.size() < most;) {
        const auto text = input.until(record_end);
        fake_modem.script.push_back({{text.begin(), text.end()}});
    }
}

void check(uint32_t rc, ApduResponse &response)
{
    REQUIRE(is_result_code(rc));
    REQUIRE(rc == 0 || !response.data);
    REQUIRE((response.data != nullptr) == (response.length > 0));
    apdu_utils__free_response(&response);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ApduResponse response = {};
    const exact_text answer(input_bytes(data, size));
    const uint32_t rc = at_utils__CSIM_response_to_APDU(answer.data(), &response);
    REQUIRE(rc != 0 || 2 * response.length + 4 < answer.length());
    check(rc, response);

    ModemHandle handle = {};
    answer_with({data, size});
    check(eUICC__send_apdu(&handle, get_response, sizeof get_response, &response), response);
    answer_with({data, size});
    REQUIRE(is_result_code(eUICC__cmee(&handle)));
    answer_with({data, size});
    const exact_bytes copy(size_t{AT_ANSWER_SIZE});
    auto *text = reinterpret_cast<char *>(copy.data());
    if (eUICC__send_AT_command(&handle, "AT\r\n", text) == 0) REQUIRE(strnlen(text, copy.size()) < copy.size());
    return 0;
}
