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
bool mutex_init_fails = false;
}

extern "C" { // the linker's --wrap
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes)
{
    return mutex_init_fails ? ENOMEM : __real_pthread_mutex_init(mutex, attributes);
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
    mutex_init_fails = true;
    EXPECT_EQ(make_semaphore(), nullptr);
    mutex_init_fails = false;
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

// A robust mutex whose owner died, unlocked without being repaired, can never be locked again.
void make_unusable(pthread_mutex_t *mutex)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    std::thread([mutex] { pthread_mutex_lock(mutex); }).join();
    ASSERT_EQ(pthread_mutex_lock(mutex), EOWNERDEAD);
    ASSERT_EQ(pthread_mutex_unlock(mutex), 0);
}

TEST_F(semaphore, whose_mutex_fails_works_on_and_says_so)
{
    Semaphore broken = {};
    broken.available = 0;
    make_unusable(&broken.mutex);
    const std::string lock_code = std::to_string(ENOTRECOVERABLE);
    const std::string unlock_code = std::to_string(EPERM);

    semaphore_give(&broken);
    EXPECT_EQ(broken.available, 1U);
    EXPECT_EQ(semaphore_take(&broken), 0);
    EXPECT_EQ(broken.available, 0U);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [SEMAPHORE]\t[semaphore_give] Mutex lock failed, rc " + lock_code + "\n" +
                                         "1 [SEMAPHORE]\t[semaphore_give] Mutex unlock failed, rc " + unlock_code +
                                         "\n" + "1 [SEMAPHORE]\t[semaphore_take] Mutex lock failed, rc " + lock_code +
                                         "\n" + "1 [SEMAPHORE]\t[semaphore_take] Mutex unlock failed, rc " +
                                         unlock_code + "\n");
    pthread_mutex_destroy(&broken.mutex);
}
} // namespace
