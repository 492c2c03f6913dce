#include <MekHost/MekStatus.h>
#include <MekHost/system/RudSysSemaphore.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "support/Threads.h"

namespace {

using Semaphore = std::unique_ptr<RudSysSemaphore>;

Semaphore Make(int maximum, int initial) {
    return Semaphore(RudSysSemaphore::RudSysCreateSemaphore(maximum, initial, 0));
}

TEST(RudSysSemaphore, StaysWithinItsMaximum) {
    constexpr int kBad[][2] = {{0, 0}, {1, 2}, {1, -1}};
    for (const auto& [maximum, initial] : kBad) {
        EXPECT_EQ(Make(maximum, initial), nullptr) << maximum << ", " << initial;
    }
    const Semaphore semaphore = Make(INT_MAX, INT_MAX - 1);
    EXPECT_EQ(semaphore->Post(-1), kMekInvalidParameter);
    EXPECT_EQ(semaphore->Post(2), kMekTooManyPosts);
    EXPECT_EQ(semaphore->Post(1), kMekOk);
    EXPECT_EQ(semaphore->Post(INT_MAX), kMekTooManyPosts);
}

// Producers post in ones and threes, consumers wait with and without time-outs: every permit is
// taken exactly once, and a lost wake-up hangs the test.
TEST(RudSysSemaphore, LosesNoPermitBetweenThreads) {
    for (const int threads : test::kThreadCounts) {
        const int perThread = 3000 / threads * 3;
        const Semaphore semaphore = Make(INT_MAX, 1);
        EXPECT_EQ(semaphore->Wait(0), kMekOk);
        test::OnThreads(2 * threads, [&](int i) {
            const int step = i % 4 < 2 ? 1 : 3;
            for (int posted = 0; i % 2 && posted < perThread; posted += step) {
                EXPECT_EQ(semaphore->Post(step), kMekOk);
            }
            for (int got = 0; i % 2 == 0 && got < perThread;) {
                const std::int32_t status = semaphore->Wait(step == 1 ? -1 : 1);
                ASSERT_TRUE(status == kMekOk || (step == 3 && status == kMekTimeout));
                got += status == kMekOk;
            }
        });
        EXPECT_EQ(semaphore->Wait(0), kMekTimeout);
    }
}

}  // namespace
