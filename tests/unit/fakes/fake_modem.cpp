#include "unit/fakes/fake_modem.h"
#include <cstring>
extern "C" {
#include <lgsm.h>
}

fake_modem_type fake_modem;

std::string csim(const std::string &response_hex)
{
    return "\r\n+CSIM: " + std::to_string(response_hex.size()) + ",\"" + response_hex + "\"\r\n\r\nOK\r\n";
}

extern "C" int lgsm_exec(struct ubus_context *, const char *command, char **response, int modem, int timeout)
{
    std::string text = command;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    fake_modem.commands.push_back(text);
    fake_modem.modems.push_back(modem);
    fake_modem.timeouts.push_back(timeout);
    fake_modem_type::answer answer{"\r\nERROR\r\n"};
    if (!fake_modem.script.empty()) {
        answer = fake_modem.script.front();
        fake_modem.script.pop_front();
    } else if (fake_modem.otherwise) {
        answer = fake_modem.otherwise(text);
    }
    if (answer.result == 0) *response = strdup(answer.text.c_str());
    return answer.result;
}
