#include "common/AddressWait.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

namespace mek {

bool SleepOnWord(const void* address, unsigned expected, const Deadline& deadline) {
    timespec at{};
    if (!deadline.IsForever()) {
        const auto sinceBoot = deadline.At().time_since_epoch();
        const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceBoot);
        at.tv_sec = seconds.count();
        at.tv_nsec = std::chrono::nanoseconds(sinceBoot - seconds).count();
    }
    // Only the bitset form takes an absolute time, on the monotonic clock that is the steady one.
    const long result =
        syscall(SYS_futex, address, FUTEX_WAIT_BITSET_PRIVATE, expected,
                deadline.IsForever() ? nullptr : &at, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void WakeSleepers(const void* address, int count) {
    syscall(SYS_futex, address, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

void WakeAllSleepers(const void* address) {
    WakeSleepers(address, INT_MAX);
}

}  // namespace mek
