#include "foundation/log.h"
#include "lpa/memory.h"
#include "lpa/semaphore.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {
bool mutexes_fail = false;
}

extern "C" { // the linker's --wrap
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes)
{
    return mutexes_fail ? ENOMEM : __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return mutexes_fail ? ENOTRECOVERABLE : __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    return mutexes_fail ? EPERM : __real_pthread_mutex_unlock(mutex);
}
}

namespace {
class semaphore : public testing::Test {
  protected:
    log_capture log;
};

TEST_F(semaphore, is_made_free)
{
    Semaphore *made = make_semaphore();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->available, 1U);
    semaphore_destroy(made);
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

TEST_F(semaphore, is_taken_once_until_given_back)
{
    Semaphore *made = make_semaphore();
    EXPECT_EQ(semaphore_take(made), 0);
    EXPECT_EQ(semaphore_take(made), -1); // without waiting
    EXPECT_EQ(semaphore_take(made), -1);
    semaphore_give(made);
    semaphore_give(made); // binary: twice is once
    EXPECT_EQ(semaphore_take(made), 0);
    EXPECT_EQ(semaphore_take(made), -1);
    semaphore_destroy(made);
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

TEST_F(semaphore, is_taken_by_one_of_several_threads)
{
    Semaphore *made = make_semaphore();
    std::atomic<int> taken = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                if (semaphore_take(made) == 0) ++taken;
            });
    }
    EXPECT_EQ(taken, 1);
    semaphore_destroy(made);
}

TEST_F(semaphore, without_memory_is_not_made)
{
    const failing_memory memory(1);
    EXPECT_EQ(make_semaphore(), nullptr);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [SEMAPHORE]\t[make_semaphore] Can't allocate data to semaphore\n");
}

TEST_F(semaphore, without_a_mutex_is_not_made)
{
    mutexes_fail = true;
    EXPECT_EQ(make_semaphore(), nullptr);
    mutexes_fail = false;
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [SEMAPHORE]\t[make_semaphore] Mutex initalization failed\n");
}

TEST_F(semaphore, of_null_is_never_taken)
{
    EXPECT_EQ(semaphore_take(nullptr), -1);
    semaphore_give(nullptr);
    semaphore_destroy(nullptr);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [SEMAPHORE]\t[semaphore_take] semaphore instance is null\n");
}

TEST_F(semaphore, whose_mutex_is_locked_cannot_destroy_it_and_is_freed_all_the_same)
{
    Semaphore *made = make_semaphore();
    ASSERT_EQ(pthread_mutex_lock(&made->mutex), 0);
    semaphore_destroy(made);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [MUTEX]\tMutex destroy failed, rc " + std::to_string(EBUSY) + "\n");
}

TEST_F(semaphore, whose_mutex_fails_works_on_and_says_so)
{
    Semaphore *made = make_semaphore();
    ASSERT_EQ(semaphore_take(made), 0);

    mutexes_fail = true;
    semaphore_give(made);
    const int32_t taken = semaphore_take(made);
    const int32_t taken_again = semaphore_take(made);
    mutexes_fail = false;

    EXPECT_EQ(taken, 0);
    EXPECT_EQ(taken_again, -1);
    const auto failures = [](const std::string &function) {
        return "1 [SEMAPHORE]\t[" + function + "] Mutex lock failed, rc " + std::to_string(ENOTRECOVERABLE) +
               "\n1 [SEMAPHORE]\t[" + function + "] Mutex unlock failed, rc " + std::to_string(EPERM) + "\n";
    };
    EXPECT_EQ(log.up_to(LOG__TRACE),
              failures("semaphore_give") + failures("semaphore_take") + failures("semaphore_take"));
    semaphore_destroy(made);
}
} // namespace
