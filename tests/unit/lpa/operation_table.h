// Every operation that retries, with what it asks, answers and does afterwards: the frame's tests loop over it.
#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

class log_capture;

inline constexpr const char *test_iccid_text = "8901234567890123456";

enum class follow_up { nothing, reload_and_notify, notify_and_reload, notify };
enum class source { card, download, notifications }; // where its codes come from

struct operation_row {
    const char *name; // "LPA__get_eid"
    uint32_t (*run)(char **json, uint32_t *length);
    source codes = source::card;
    const char *request = ""; // hex, its first two bytes are the tag
    std::string good_answer = {};
    const char *document = nullptr;  // null: none
    std::string refused_answer = {}; // the card's own result is not "ok"; "" when there is no such answer
    const char *refused_document = nullptr;
    const char *answer_title = ""; // "" when a malformed answer is not asked for again
    follow_up after = follow_up::nothing;
    int event = -1;
    bool has_iccid = false;
    const char *step_name = nullptr;  // when it is not the name and "_"
    const char *inner_name = nullptr; // when it is not the name and "_unlocked"

    std::string tag() const { return std::string(request).substr(0, 4); }
    std::string step() const { return step_name ? step_name : std::string(name) + "_"; }
    std::string inner() const { return inner_name ? inner_name : std::string(name) + "_unlocked"; }
    bool is_card_operation() const { return codes == source::card; }
};

inline void PrintTo(const operation_row &row, std::ostream *out) { *out << row.name; }

const std::vector<operation_row> &operation_table();

// The next attempts end with these codes (0, 6 and 18), the last one again and again when it is 0.
void script_codes(const operation_row &row, const std::vector<uint32_t> &codes);
void script_answer(const operation_row &row, const std::string &answer_hex);

struct operation_outcome {
    uint32_t code;
    std::string json; // "(null)" when there is none
    uint32_t length;
};
operation_outcome run(uint32_t (*call)(char **json, uint32_t *length));

// Lines of level 3 or worse that lpa/'s operations wrote themselves, as "level text\n".
std::string operation_lines(const log_capture &log);
std::string success_lines(const operation_row &row, const std::string &document);
std::string attempt_lines(const operation_row &row, uint32_t code); // what one attempt says about itself
std::vector<std::string> success_events(const operation_row &row, uint32_t state);
std::vector<std::string> failure_events(const operation_row &row, uint32_t state);
std::vector<unsigned> success_pauses(const operation_row &row);
