// Every operation in a process that is ended at its n-th AT command or HTTP request, for every n: by SIGKILL, and by
// the signals that the library handles.
#include "system/child.h"
#include "system/matrix.h"
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {
constexpr int went_through = 42; // exit status of an operation that nothing ended
constexpr const char *lock_file = "/var/lock/vorn_modem_0.lock";

class ended_process : public matrix {
  protected:
    // What the child ends with that gets this signal where the order puts it; the fault is carried out for its process.
    template <typename Order> int perform_in_child(int number, Order order)
    {
        prepare();
        child other([this] {
            EXPECT_EQ(perform().code, 0U);
            return went_through;
        });
        order(json{{"kind", "kill"}, {"pid", other.process()}, {"signal", number}});
        other.begin();
        return other.wait();
    }
    int perform_until_command(size_t nth, bool after, int number)
    {
        return perform_in_child(number, [&](json fault) {
            fault.update({{"do", "fault"}, {"nth", nth}, {"after", after}});
            desk.modem_does(fault);
        });
    }
    void expect_free_and_whole()
    {
        const int lock = open(lock_file, O_RDWR | O_CLOEXEC);
        EXPECT_TRUE(lock < 0 || flock(lock, LOCK_EX | LOCK_NB) == 0); // it may have come to an end before it had one
        close(lock);
        switch_on_again();
        expect_card_whole();
    }
};

class kill_matrix : public ended_process {
  protected:
    void kill_at_each_command(bool after)
    {
        size_t nth = 1;
        for (; !HasFailure(); ++nth) {
            SCOPED_TRACE("command " + std::to_string(nth));
            const int end = perform_until_command(nth, after, SIGKILL);
            if (end == went_through) break;
            EXPECT_EQ(end, -SIGKILL);
            expect_free_and_whole();
        }
        RecordProperty("runs", std::to_string(nth));
        EXPECT_GT(nth, 9U);
    }
};

TEST_P(kill_matrix, is_whole_after_a_kill_before_any_command) { kill_at_each_command(false); }

TEST_P(kill_matrix, is_whole_after_a_kill_after_any_command) { kill_at_each_command(true); }

INSTANTIATE_TEST_SUITE_P(every, kill_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);

class request_kill_matrix : public ended_process {
  protected:
    std::map<std::string, int> undisturbed_requests() // to each endpoint
    {
        undisturbed_traffic();
        std::map<std::string, int> count;
        const json server = desk.sm_dp();
        for (const json &request : server.at("requests"))
            ++count[request.at("endpoint")];
        return count;
    }
    int perform_until_request(const std::string &endpoint, int nth, bool processed)
    {
        return perform_in_child(SIGKILL, [&](json fault) {
            fault.update({{"do", "add-fault"}, {"endpoint", endpoint}, {"at", nth}, {"processed", processed}});
            desk.server_does(fault);
        });
    }
};

TEST_P(request_kill_matrix, is_whole_after_a_kill_during_any_request)
{
    int runs = 0;
    for (const auto &[endpoint, count] : undisturbed_requests())
        for (int nth = 1; nth <= count; ++nth)
            for (const bool processed : {false, true}) {
                SCOPED_TRACE(endpoint + " " + std::to_string(nth) + (processed ? " processed" : ""));
                EXPECT_EQ(perform_until_request(endpoint, nth, processed), -SIGKILL);
                expect_free_and_whole();
                ++runs;
            }
    RecordProperty("runs", std::to_string(runs));
    EXPECT_GT(runs, 0);
}

INSTANTIATE_TEST_SUITE_P(every, request_kill_matrix,
                         testing::ValuesIn(matrix_operations_named({"enable_profile", "disable_profile",
                                                                    "delete_profile", "reset_memory", "reset_settings",
                                                                    "process_notifications", "start_rsp"})),
                         matrix_operation_name);

class signal_matrix : public ended_process {};

TEST_P(signal_matrix, exits_with_0_and_is_whole_after_a_signal_at_any_command)
{
    constexpr std::array signals = {SIGINT, SIGTERM, SIGTSTP};
    const size_t commands = undisturbed_traffic().size();
    for (size_t nth = 1; nth <= commands && !HasFailure(); ++nth) {
        const int number = signals[nth % signals.size()];
        SCOPED_TRACE(strsignal(number) + (" at command " + std::to_string(nth)));
        EXPECT_EQ(perform_until_command(nth, nth % 2, number), 0);
        expect_free_and_whole();
    }
    RecordProperty("runs", std::to_string(commands));
}

INSTANTIATE_TEST_SUITE_P(every, signal_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);
} // namespace
