// A management program in C++ that also uses the lower modules and the library's exported data.
#include <euicc/modem_channel.h>
#include <iostream>
#include <lpa/json_generator.h>
#include <lpa/lpa.h>
#include <lpa/memory.h>
#include <memory>
#include <string>

int main()
{
    char *text = nullptr;
    if (json_generator__process_error(0, &text) != 0) return 1;
    const std::unique_ptr<char, decltype(&M_free)> json(text, M_free);
    std::cout << json.get() << '\n';
    return std::string(json.get()) == R"({"result":0,"description":"No error"})" && close_modem(nullptr) == 0 &&
                   !g_socks_proxy_address
               ? 0
               : 1;
}
