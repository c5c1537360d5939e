// An eUICC behind fake_modem: opens its channel, puts STORE DATA series together again and answers them.
// Every block is kept as it came and checked: class byte, Lc, trailing Le and the block number.
#pragma once
#include "euicc/modem_channel.h"
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// An element with a DER length.
std::vector<uint8_t> tlv(unsigned tag, const std::vector<uint8_t> &value);
// The elements one after the other.
std::vector<uint8_t> join(const std::vector<std::vector<uint8_t>> &parts);
// Size bytes that differ from their neighbours and from other seeds.
std::vector<uint8_t> filler(size_t size, unsigned seed = 0);

class scripted_card {
  public:
    scripted_card();
    ~scripted_card();
    scripted_card(const scripted_card &) = delete;
    scripted_card &operator=(const scripted_card &) = delete;

    struct block {
        bool is_last;
        uint8_t number;
        std::vector<uint8_t> data;
        bool operator==(const block &) const = default;
    };
    struct answer {
        std::vector<uint8_t> data{};
        unsigned sw = 0x9000;
        bool not_sent = false; // the modem fails instead: code 14
    };
    // Called for every whole series; without it the answer is 9000.
    std::function<answer(const std::vector<uint8_t> &command)> respond;
    // Called for every block before it is taken; an answer other than 9000 refuses it.
    std::function<answer(size_t index)> refuse;

    std::vector<block> blocks;
    std::vector<std::vector<uint8_t>> series; // whole ones
    int opened = 0, closed = 0;               // logical channels
    bool opens = true;                        // MANAGE CHANNEL succeeds
    static bool terminates;                   // eUICC__terminate, which is carried out either way, answers 0

    ModemHandle handle = {0, {}, -1, 1}; // for operations on a session that is already open
    static constexpr uint8_t channel = 1;

  private:
    std::string exchange(const std::string &command);
    std::string apdu(const std::vector<uint8_t> &bytes);
    std::string store_data(const std::vector<uint8_t> &bytes);
    std::string give(const answer &response);
    std::string give_pending();
    std::vector<uint8_t> collected_;
    std::vector<uint8_t> pending_; // what GET RESPONSE is still to fetch
    unsigned pending_sw_ = 0x9000;
};

// What a series is cut into: blocks of 240 bytes and the rest, numbered from 0 (modulo 256).
std::vector<scripted_card::block> cut(const std::vector<uint8_t> &series);
