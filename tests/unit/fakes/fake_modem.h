// Replaces lgsm_exec: answers AT commands from a script and records them.
#pragma once
#include <deque>
#include <functional>
#include <string>
#include <vector>

struct fake_modem_type {
    struct answer {
        std::string text;
        int result = 0; // non-zero: the command could not be sent
    };
    std::deque<answer> script;                                   // used first, one per command
    std::function<answer(const std::string &command)> otherwise; // used when the script is empty; else "ERROR"
    std::vector<std::string> commands;                           // received, CR LF removed
    std::vector<int> modems;                                     // the numbers they were sent to
    std::vector<int> timeouts;                                   // the timeouts they were sent with
    void reset() { *this = {}; }
};
extern fake_modem_type fake_modem;

// The modem's answer to AT+CSIM: csim("9000") is "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n".
std::string csim(const std::string &response_hex);

// The command (3GPP TS 27.007, 8.17) that carries this APDU, given as hexadecimal digits.
inline std::string at_csim(const std::string &apdu)
{
    return "AT+CSIM=" + std::to_string(apdu.size()) + ",\"" + apdu + "\"";
}
