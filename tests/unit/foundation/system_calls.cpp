#include "unit/foundation/system_calls.h"
#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

system_calls_type system_calls;

namespace {
int refuse()
{
    errno = EPERM;
    return -1;
}
#ifdef SYS_fchown32 // 32-bit machines: the older calls have 16-bit identifiers and 32-bit times
constexpr long fchown_number = SYS_fchown32;
constexpr long clock_gettime_number = SYS_clock_gettime64;
#else
constexpr long fchown_number = SYS_fchown;
constexpr long clock_gettime_number = SYS_clock_gettime;
#endif
} // namespace

extern "C" {
int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    if (clock == CLOCK_MONOTONIC && system_calls.monotonic_clock_fails) return refuse();
    if (clock == CLOCK_MONOTONIC && system_calls.monotonic_clock) {
        *now = *system_calls.monotonic_clock;
        return 0;
    }
    return static_cast<int>(syscall(clock_gettime_number, clock, now));
}

time_t time(time_t *now) noexcept
{
    timespec real = {};
    clock_gettime(CLOCK_REALTIME, &real);
    const time_t result = system_calls.wall_clock.value_or(real.tv_sec);
    if (now) *now = result;
    return result;
}

int fchown(int file, uid_t owner, gid_t group) noexcept
{
    return system_calls.fchown_fails ? refuse() : static_cast<int>(syscall(fchown_number, file, owner, group));
}

int fchmod(int file, mode_t mode) noexcept
{
    return system_calls.fchmod_fails ? refuse() : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
}
