// Every operation with a card that loses its power at the n-th AT command, and in the middle of the n-th write to what
// it keeps without power, for every n.
#include "system/matrix.h"

namespace {
class power_matrix : public matrix {
  protected:
    // Goes on until the n-th one, which is_met tells of, does not come any more.
    template <typename Order, typename Met> void cut_at_each(const char *what, Order order, Met is_met)
    {
        size_t nth = 1;
        for (; !HasFailure(); ++nth) {
            SCOPED_TRACE(std::string(what) + " " + std::to_string(nth));
            prepare();
            order(nth);
            const outcome result = perform();
            if (!is_met()) {
                EXPECT_EQ(result.code, 0U);
                break;
            }
            switch_on_again();
            expect_whole(result);
        }
        RecordProperty("runs", std::to_string(nth));
        EXPECT_GT(nth, 1U);
    }
    void cut_at_each_command(bool after)
    {
        int fired = 0;
        cut_at_each(
            "command",
            [&](size_t nth) {
                fired = faults_fired();
                desk.modem_does({{"do", "fault"}, {"kind", "power-cut"}, {"nth", nth}, {"after", after}});
            },
            [&] { return faults_fired() > fired; });
    }

  private:
    int faults_fired() { return desk.command({{"modem", 0}, {"do", "inspect"}}).at("faults_fired"); }
};

TEST_P(power_matrix, is_whole_after_a_power_cut_before_any_command) { cut_at_each_command(false); }

TEST_P(power_matrix, is_whole_after_a_power_cut_after_any_command) { cut_at_each_command(true); }

INSTANTIATE_TEST_SUITE_P(every, power_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);

class write_matrix : public power_matrix {};

TEST_P(write_matrix, is_whole_after_a_power_cut_during_any_write)
{
    cut_at_each(
        "write",
        [&](size_t nth) {
            desk.card_does({{"do", "cut-power-at-write"}, {"nth", nth}});
        },
        [&] { return desk.card().at("writes_until_cut") == 0; });
}

INSTANTIATE_TEST_SUITE_P(every, write_matrix,
                         testing::ValuesIn(matrix_operations_named({"set_smdp_address", "set_profile_nickname",
                                                                    "enable_profile", "disable_profile",
                                                                    "delete_profile", "reset_memory", "reset_settings",
                                                                    "process_notifications", "start_rsp"})),
                         matrix_operation_name);
} // namespace
