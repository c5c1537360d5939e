// Every operation against every fault of one kind: a router on which the operation has something to do, and what has
// to hold after a fault at any point.
#pragma once
#include "system/system_test.h"

struct matrix_operation {
    const char *name;
    outcome (*call)(const std::string &activation_code);
    std::vector<const char *> removed = {}; // profiles that are gone after it
    const char *state_of = nullptr;         // the profile that it enables or disables
    bool enabled = false;                   // after it
    bool downloads = false;
};

extern const std::vector<matrix_operation> matrix_operations; // all of the library
std::vector<matrix_operation> matrix_operations_named(std::initializer_list<std::string_view> names);
void PrintTo(const matrix_operation &operation, std::ostream *out);
std::string matrix_operation_name(const testing::TestParamInfo<matrix_operation> &info);

class matrix : public system_test, public testing::WithParamInterface<matrix_operation> {
  protected:
    const matrix_operation &operation = GetParam();

    // Two profiles, two pending notifications, an order that waits, nothing remembered, no faults.
    void prepare();
    outcome perform() { return operation.call(activation_code); }
    // What a run without faults sends: AT commands as router::traffic gives them.
    std::vector<std::string> undisturbed_traffic();

    // After a run with a fault that lies behind: the code is a documented one, nothing leaked, and expect_card_whole.
    void expect_whole(const outcome &result);
    // The next runs of this and of other operations work without help; no profile is lost or doubled, no notification
    // is lost, no channel stays open.
    void expect_card_whole();

    // A reload that ends between AT+CFUN=0 and AT+CFUN=1 leaves the modem off. It is the router that switches its radio
    // on; until then every operation gives 15.
    void switch_on_again();

    std::string activation_code;

  private:
    const log_capture errors_only_{1}; // thousands of runs
    void expect_profiles(const json &card, bool done);

    size_t descriptors_ = 0;
    size_t allocations_ = 0;
    std::string new_iccid_; // of the order that waits
};
