// Collects what the library writes to its log while the object lives, level 5 included.
// Lines read "level text\n": "1 could not get the data length of the TLV, offset=1\n".
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class log_capture {
  public:
    explicit log_capture(int32_t level = 5); // sets g_log_level, without console echo
    ~log_capture();                          // restores the level and removes the log file

    struct line {
        int level; // 0 for a line without prefix
        std::string text;
    };
    static std::vector<line> lines();
    std::string up_to(int level) const;         // every line at this level or worse
    std::string at(int level) const;            // every line at exactly this level
    bool contains(std::string_view text) const; // some line's text equals text
    bool contains(int level, std::string_view text) const;
    void clear();

  private:
    int32_t previous_level_;
    uint8_t previous_console_;
};
