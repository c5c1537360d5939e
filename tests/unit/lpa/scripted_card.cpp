#include "unit/lpa/scripted_card.h"
#include "foundation/result.h"
#include "lpa/lpa.h"
#include "lpa/memory.h"
#include "rsp/notification_processing.h"
#include "rsp/profile_download.h"
#include "support/bytes.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_factory.h"
#include "unit/fakes/fake_modem.h"
#include <cstring>

scripted_card card;
scripted_rsp rsp;
forced_failures forced;

namespace {

template <typename Value> Value next(std::deque<Value> &values)
{
    const Value value = values.front();
    if (values.size() > 1) values.pop_front();
    return value;
}

std::string length_hex(size_t length)
{
    char digits[16];
    snprintf(digits, sizeof digits, length < 0x80 ? "%02zX" : length < 0x100 ? "81%02zX" : "82%04zX", length);
    return digits;
}

fake_modem_type::answer answer_command(scripted_card &card, const std::string &command,
                                       std::string (*exchange)(const std::string &apdu))
{
    if (command.starts_with("AT+CMEE=?")) return {"\r\n+CMEE: (0-2)\r\n\r\nOK\r\n"};
    if (command.starts_with("AT+CMEE=")) return {"\r\nOK\r\n"};
    if (command == "AT+CFUN=0") {
        ++card.reloads;
        return card.reload_fails ? fake_modem_type::answer{"\r\nERROR\r\n"} : fake_modem_type::answer{"\r\nOK\r\n"};
    }
    if (command == "AT+CFUN=1") return {"\r\nOK\r\n"};
    if (command == "AT+cpin?") return {"\r\n+CPIN: READY\r\n\r\nOK\r\n"};
    const size_t quote = command.find('"');
    if (!command.starts_with("AT+CSIM=") || quote == std::string::npos) return {"\r\nERROR\r\n"};
    if (!card.reachable) return {"", 1};
    return {csim(exchange(command.substr(quote + 1, command.size() - quote - 2)))};
}

int number(const std::string &network_order)
{
    int value = 0;
    for (const char byte : network_order)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

} // namespace

std::string tlv(const std::string &tag, const std::string &value_hex)
{
    return tag + length_hex(value_hex.size() / 2) + value_hex;
}

std::string text_hex(const std::string &text)
{
    return hex(reinterpret_cast<const uint8_t *>(text.data()), text.size());
}

std::string scripted_card::store_data(const std::string &apdu)
{
    const size_t length = std::stoul(apdu.substr(8, 2), nullptr, 16);
    series_ += apdu.substr(10, 2 * length);
    if (apdu.substr(4, 2) == "11") return "9000";
    const std::string request = std::exchange(series_, "");
    requests.push_back(request);
    if (!first.empty()) {
        const answer reply = first.front();
        first.pop_front();
        return reply.data + reply.sw;
    }
    auto &replies = answers[request.substr(0, 4)];
    if (replies.empty()) return "6A88";
    const answer reply = next(replies);
    return reply.data + reply.sw;
}

std::string scripted_card::exchange(const std::string &apdu)
{
    const std::string instruction = apdu.substr(2, 2);
    if (apdu == "0070000001") {
        ++sessions;
        ++open_sessions;
        return "019000";
    }
    if (instruction == "70") {
        --open_sessions;
        return "9000";
    }
    if (instruction == "E2") return store_data(apdu);
    return "9000"; // TERMINAL CAPABILITY, SELECT
}

void scripted_card::plug_in()
{
    fake_modem.otherwise = [](const std::string &command) {
        return answer_command(card, command, [](const std::string &apdu) { return card.exchange(apdu); });
    };
}

int scripted_card::requests_of(const std::string &tag) const
{
    int count = 0;
    for (const std::string &request : requests)
        count += request.starts_with(tag);
    return count;
}

std::vector<std::string> update_events()
{
    std::vector<std::string> result;
    for (const auto &[id, fields] : fake_bus.events) {
        std::string line = id == "vorn.updates" ? "" : id + " ";
        for (const auto &field : fields) {
            if (field.name == "modem") line += field.data.c_str();
            else if (field.name == "iccid") line += " iccid " + std::string(field.data.c_str());
            else line += " " + field.name + " " + std::to_string(number(field.data));
        }
        result.push_back(line);
    }
    return result;
}

void lpa_test::SetUp()
{
    fake_modem.reset();
    fake_bus.reset();
    fake_factory.reset();
    pauses.clear();
    LPA__set_reload_disabled(0);
    LPA__set_primary_profile(0);
    card = {};
    rsp = {};
    forced = {};
    card.plug_in();
}

void lpa_test::TearDown()
{
    EXPECT_EQ(card.open_sessions, 0) << "a session was left open";
    EXPECT_EQ(fake_bus.open_connections, 0) << "a modem was left open";
    fake_modem.reset();
}

// ---- rsp/ ---------------------------------------------------------------------------------------------------------

uint32_t rsp__start_with_activation_code(const char *modem, const ActivationCodeInfo *info,
                                         const char *confirmation_code, uint8_t **result, uint32_t *result_length)
{
    const auto piece = [](const uint8_t *text, uint8_t length) {
        return std::string(reinterpret_cast<const char *>(text), length);
    };
    rsp.downloads.push_back(std::string(modem) + " " + piece(info->smdp_address, info->smdp_address_length) + " " +
                            piece(info->ac_token, info->ac_token_length) + " " +
                            (confirmation_code ? confirmation_code : "none"));
    *result = nullptr;
    *result_length = 0;
    const uint32_t code = next(rsp.download_codes);
    if (code != RESULT__OK || rsp.download_results.empty()) return code;
    const auto answer = bytes(next(rsp.download_results));
    *result = static_cast<uint8_t *>(malloc(answer.size()));
    memcpy(*result, answer.data(), answer.size());
    *result_length = static_cast<uint32_t>(answer.size());
    return code;
}

uint32_t process_notifications(const char *modem)
{
    rsp.notifications.emplace_back(modem);
    return next(rsp.notification_codes);
}

uint32_t process_notifications_unlocked(ModemHandle *, uint8_t)
{
    rsp.notifications.emplace_back(card.open_sessions == 1 ? "session" : "no session");
    return next(rsp.notification_codes);
}

// ---- Forced failures: the linker's --wrap --------------------------------------------------------------------------

extern "C" {
uint32_t __real_eUICC__terminate(ModemHandle *handle, uint8_t channel);
int32_t __real_byte_utils__hex_string_to_byte_array(const char *text, uint32_t length, uint8_t *bytes, uint32_t size);

uint32_t __wrap_eUICC__terminate(ModemHandle *handle, uint8_t channel)
{
    const uint32_t code = __real_eUICC__terminate(handle, channel);
    return forced.terminate ? forced.terminate : code;
}

int32_t __wrap_byte_utils__hex_string_to_byte_array(const char *text, uint32_t length, uint8_t *bytes, uint32_t size)
{
    if (forced.hex_conversion) return forced.hex_conversion;
    return __real_byte_utils__hex_string_to_byte_array(text, length, bytes, size);
}
}
