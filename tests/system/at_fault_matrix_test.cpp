// Every operation with a fault of every kind at each of its AT commands in turn.
#include "system/matrix.h"
#include <functional>
#include <optional>

namespace {
struct at_fault {
    std::string name;
    json order; // as the modem takes it
};

std::string csim(const std::string &digits)
{
    return "\r\n+CSIM: " + std::to_string(digits.size()) + ",\"" + digits + "\"\r\n\r\nOK\r\n";
}

std::vector<at_fault> errors(const std::string & /*tag*/)
{
    return {{"ERROR once", {{"kind", "error"}}},
            {"ERROR once it is carried out", {{"kind", "error"}, {"after", true}}},
            {"ERROR twice", {{"kind", "error"}, {"times", 2}}},
            {"ERROR from there on", {{"kind", "error"}, {"times", 0}}}};
}

std::vector<at_fault> status_words(const std::string & /*tag*/)
{
    const std::pair<const char *, bool> words[] = {{"6A80", false}, {"6A88", true},  {"6985", true}, {"6985", false},
                                                   {"6F00", true},  {"6110", false}, {"9100", true}};
    std::vector<at_fault> faults;
    for (const auto &[sw, after] : words)
        faults.push_back({sw + std::string(after ? " once it is carried out" : ""),
                          {{"kind", "status-word"}, {"text", sw}, {"after", after}}});
    return faults;
}

at_fault instead_of_answer(const char *name, const std::string &text)
{
    return {name, {{"kind", "answer"}, {"text", text}, {"after", true}}};
}

std::vector<at_fault> damages(const std::string & /*tag*/)
{
    return {{"half of the answer", {{"kind", "truncate"}}},
            {"no digit", {{"kind", "truncate"}, {"length", 0}}},
            {"an odd number of digits", {{"kind", "odd"}}},
            {"garbage around it", {{"kind", "garbage"}}},
            instead_of_answer("OK alone", "\r\nOK\r\n"),
            instead_of_answer("more than the buffer holds", csim(std::string(4096, 'A') + "9000")),
            instead_of_answer("more than the terminal driver takes", csim(std::string(100000, 'A') + "9000"))};
}

std::string element(const std::string &tag, const std::string &value)
{
    const size_t length = value.size() / 2;
    char digits[16];
    snprintf(digits, sizeof digits, length > 255 ? "82%04zX" : length > 127 ? "81%02zX" : "%02zX", length);
    return tag + digits + value;
}

std::string nested(const std::string &tag)
{
    std::string levels;
    for (int depth = 0; depth < 150; ++depth)
        levels = element(tag, levels);
    return levels;
}

std::vector<at_fault> instead_of_elements(const std::vector<std::pair<const char *, std::string>> &answers)
{
    std::vector<at_fault> faults;
    for (const auto &[name, answer] : answers)
        faults.push_back({name, {{"kind", "status-word"}, {"text", answer + "9000"}, {"after", true}}});
    return faults;
}

// What the answer to RetrieveNotificationsList has in A0 is delivered, and the card's notification removed.
std::string list_in(const std::string &tag) { return tag == "BF2B" ? "A2" : "A0"; }

std::vector<at_fault> wrong_elements(const std::string &tag)
{
    return instead_of_elements(
        {{"another tag", "BF7F03800100"},
         {"an undefined result", element(tag, "8001AA")},
         {"a list of other things", element(tag, element(list_in(tag), element("E3", "5A00")))}});
}

std::vector<at_fault> boundless_elements(const std::string &tag)
{
    return instead_of_elements({{"150 levels", element(tag, nested(list_in(tag)))},
                                {"a list of 16 MB", element(tag, list_in(tag) + "83FFFFFF0102")},
                                {"4 GB", tag + "84FFFFFFFF800100"},
                                {"a tag without end", std::string(32, 'F')}});
}

class at_fault_matrix : public matrix {
  protected:
    // faults(tag of the answer that the command waits for)
    void meet_each(const std::function<std::vector<at_fault>(const std::string &)> &faults, int32_t log_level = 1)
    {
        const std::vector<std::string> traffic = undisturbed_traffic();
        std::string tag = "BF2D";
        size_t runs = 0;
        for (size_t nth = 1; nth <= traffic.size(); ++nth) {
            const std::string &command = traffic[nth - 1];
            if (const std::string data = command.substr(std::min<size_t>(command.size(), 10)); data.starts_with("BF"))
                tag = data.starts_with("BF36") ? "BF37" : data.substr(0, 4);
            for (const at_fault &fault : faults(tag)) {
                SCOPED_TRACE(std::string(operation.name) + ", " + fault.name + ", n " + std::to_string(nth) + ": " +
                             command);
                meet(fault, nth, log_level);
                if (HasFailure()) return;
                ++runs;
            }
        }
        RecordProperty("runs", std::to_string(runs));
        EXPECT_GE(runs, traffic.size());
    }
    void meet_each(const at_fault &fault)
    {
        meet_each([&](const std::string &) { return std::vector{fault}; });
    }

    double time_limit = 0; // of the terminal driver while the fault lasts, in seconds; 0: the usual one

  private:
    uint32_t faults_fired() { return desk.command({{"modem", 0}, {"do", "inspect"}}).at("faults_fired"); }

    void meet(const at_fault &fault, size_t nth, int32_t log_level)
    {
        prepare();
        const uint32_t met = faults_fired();
        json order = fault.order;
        order.update({{"do", "fault"}, {"nth", nth}});
        desk.modem_does(order);
        outcome result;
        {
            const log_capture seen(log_level);
            std::optional<short_timeout> limit;
            if (time_limit > 0) limit.emplace(time_limit);
            result = perform();
        }
        desk.modem_does({{"do", "clear-faults"}});
        desk.modem_does({{"do", "return"}});
        EXPECT_GT(faults_fired(), met);
        switch_on_again();
        expect_whole(result);
    }
};

TEST_P(at_fault_matrix, is_whole_after_an_error) { meet_each(errors); }

TEST_P(at_fault_matrix, is_whole_after_a_wrong_status_word) { meet_each(status_words); }

TEST_P(at_fault_matrix, is_whole_after_a_damaged_answer) { meet_each(damages); }

// With all that the log can show, so that the dumps meet these bytes as well.
TEST_P(at_fault_matrix, is_whole_after_a_wrong_element) { meet_each(wrong_elements, 5); }

TEST_P(at_fault_matrix, is_whole_after_a_boundless_element) { meet_each(boundless_elements, 5); }

INSTANTIATE_TEST_SUITE_P(every, at_fault_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);

// These cost time: the terminal driver waits for its time limit.
class silence_matrix : public at_fault_matrix {
  protected:
    silence_matrix() { time_limit = 0.3; }
};

TEST_P(silence_matrix, is_whole_after_silence) { meet_each({"silence", {{"kind", "silence"}}}); }

TEST_P(silence_matrix, is_whole_after_a_lost_answer)
{
    meet_each({"lost answer", {{"kind", "silence"}, {"after", true}}});
}

TEST_P(silence_matrix, is_whole_after_lasting_silence)
{
    meet_each({"silence from there on", {{"kind", "silence"}, {"times", 0}}});
}

TEST_P(silence_matrix, is_whole_after_a_hang_up) { meet_each({"hang-up", {{"kind", "hang-up"}}}); }

TEST_P(silence_matrix, is_whole_after_a_hang_up_and_return)
{
    meet_each({"hang-up and return", {{"kind", "hang-up"}, {"return_ms", 10}}});
}

TEST_P(silence_matrix, is_whole_after_a_hang_up_behind_a_command)
{
    meet_each({"hang-up once it is carried out", {{"kind", "hang-up"}, {"return_ms", 10}, {"after", true}}});
}

INSTANTIATE_TEST_SUITE_P(every, silence_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);
} // namespace
