// Every operation with its n-th allocation failing, and all from the n-th on, for every n.
#include "support/progress_capture.h"
#include "system/allocations.h"
#include "system/matrix.h"

namespace {
class memory_matrix : public matrix {
  protected:
    void fail_each(bool all_after)
    {
        size_t nth = 1;
        for (; !HasFailure(); ++nth) {
            SCOPED_TRACE("allocation " + std::to_string(nth));
            prepare();
            outcome result;
            {
                const progress_capture progress; // without an allocation of the library's
                const failing_allocation failure(nth, all_after);
                result = perform();
                if (!failure.reached()) break;
            }
            expect_whole(result);
        }
        RecordProperty("runs", std::to_string(nth));
        EXPECT_GT(nth, 10U);
    }
};

TEST_P(memory_matrix, is_whole_after_any_allocation_failed) { fail_each(false); }

TEST_P(memory_matrix, is_whole_after_memory_ran_out_at_any_allocation) { fail_each(true); }

INSTANTIATE_TEST_SUITE_P(every, memory_matrix, testing::ValuesIn(matrix_operations), matrix_operation_name);
} // namespace
