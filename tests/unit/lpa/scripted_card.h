// A modem with a small scripted card behind fake_modem, and what else an operation of lpa/ meets: downloads and
// notification processing with scripted results.
#pragma once
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

// Hex text of one element: tlv("80", "01") is "800101".
std::string tlv(const std::string &tag, const std::string &value_hex);
std::string text_hex(const std::string &text);

struct scripted_card {
    struct answer {
        std::string data; // hex
        std::string sw = "9000";
    };
    std::map<std::string, std::deque<answer>> answers; // by the request's tag ("BF3E"); the last one is repeated
    std::deque<answer> first;                          // used before all of them, whatever the request
    std::vector<std::string> requests;                 // contents of the STORE DATA series, hex
    bool reload_fails = false;
    bool reachable = true; // false: AT+CSIM cannot be sent
    int sessions = 0;      // logical channels opened
    int open_sessions = 0;
    int reloads = 0;

    void plug_in(); // answers fake_modem's commands from now on
    int requests_of(const std::string &tag) const;

  private:
    std::string series_;
    std::string exchange(const std::string &apdu);
    std::string store_data(const std::string &apdu);
};

// Stands in for rsp/: each run takes the next code, the last one is repeated.
struct scripted_rsp {
    std::deque<uint32_t> download_codes{0};
    std::deque<std::string> download_results; // hex; null when there is none
    std::vector<std::string> downloads;       // "modem0 address token confirmation-code"
    std::deque<uint32_t> notification_codes{0};
    std::vector<std::string> notifications; // "modem0", or "session" for those on an open session
};

extern scripted_card card;
extern scripted_rsp rsp;

// Codes of functions that do not fail by themselves; 0: they do what they always do.
struct forced_failures {
    uint32_t terminate = 0;     // eUICC__terminate
    int32_t hex_conversion = 0; // byte_utils__hex_string_to_byte_array
};
extern forced_failures forced;

// "gsm.modem0 event 1 state 0 iccid 8901" for each event on the bus, oldest first.
std::vector<std::string> update_events();

class lpa_test : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
};
