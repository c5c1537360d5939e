// Modem, eUICC and SM-DP+ as the fuzz input tells them: a run of records, each ended by record_end, its first
// character the kind.
//
//   R  the eUICC's answer to the next whole STORE DATA series; 9000 follows it, GET RESPONSE is done for it
//   S  the answer to the next APDU, whatever it is: data and status word
//   A  the modem's answer to the next AT command, as text
//   N  the next AT command cannot be sent
//   H  the body of the next HTTPS answer, with status 200
//   E  the next HTTPS answer fails: one byte chooses how, a body follows
//
// What no record answers goes well without data; HTTPS requests then find no server.
#pragma once
#include "fuzz/fuzz_input.h"
#include <string>
#include <vector>

inline constexpr std::string_view record_end = "\n%%\n";

class scripted_world {
  public:
    explicit scripted_world(input_bytes records); // replaces what the fakes answered before
    ~scripted_world();
    scripted_world(const scripted_world &) = delete;
    scripted_world &operator=(const scripted_world &) = delete;

    std::vector<uint8_t> stored;   // contents of all STORE DATA blocks that reached the card
    bool card_sent_quotes = false; // texts of the card are put into documents unescaped
    void require_released() const; // connections, handles, messages

  private:
    struct record {
        char kind;
        input_bytes content;
    };
    std::vector<record> records_;
    size_t next_ = 0;
    std::vector<uint8_t> pending_; // for GET RESPONSE
    char kind() const { return next_ < records_.size() ? records_[next_].kind : '\0'; }
    input_bytes take() { return records_[next_++].content; }
    std::string exchange(const std::string &command, bool *sent);
    void store(input_bytes command);
    std::vector<uint8_t> apdu(input_bytes command);
    std::vector<uint8_t> give(input_bytes data);
};
