#include <MekHost/MekStatus.h>
#include <MekHost/system/MekEvent.h>
#include <MekHost/system/RudSysJob.h>
#include <MekHost/system/RudSysSemaphore.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>

#include "support/Threads.h"

namespace {

using Semaphore = std::unique_ptr<RudSysSemaphore>;

Semaphore Make(int maximum, int initial) {
    return Semaphore(RudSysSemaphore::RudSysCreateSemaphore(maximum, initial, 0));
}

TEST(RudSysSemaphore, RefusesCountsThatDoNotFit) {
    constexpr int kBad[][2] = {{0, 0}, {-1, -1}, {1, 2}, {1, -1}, {INT_MAX, INT_MIN}};
    for (const auto& [maximum, initial] : kBad) {
        EXPECT_EQ(Make(maximum, initial), nullptr) << maximum << ", " << initial;
    }
    const Semaphore semaphore = Make(INT_MAX, INT_MAX - 1);
    ASSERT_NE(semaphore, nullptr);
    EXPECT_EQ(semaphore->Wait(-2), kMekInvalidParameter);
    EXPECT_EQ(semaphore->Post(0), kMekInvalidParameter);
    EXPECT_EQ(semaphore->Post(-1), kMekInvalidParameter);
    EXPECT_EQ(semaphore->Post(2), kMekTooManyPosts);
    EXPECT_EQ(semaphore->Post(1), kMekOk);
    EXPECT_EQ(semaphore->Post(INT_MAX), kMekTooManyPosts);
}

TEST(RudSysSemaphore, CountsPermits) {
    const Semaphore semaphore = Make(3, 1);
    EXPECT_EQ(semaphore->Wait(0), kMekOk);
    EXPECT_EQ(semaphore->Wait(0), kMekTimeout);
    EXPECT_EQ(semaphore->Wait(1), kMekTimeout);
    EXPECT_EQ(semaphore->Post(3), kMekOk);
    for (const int timeout : {0, 1, -1}) {
        EXPECT_EQ(semaphore->Wait(timeout), kMekOk);
    }
    EXPECT_EQ(semaphore->Wait(0), kMekTimeout);
}

// Producers post in ones and threes, consumers wait with and without time-outs: every permit is
// taken exactly once, and a lost wake-up hangs the test.
TEST(RudSysSemaphore, LosesNoPermitBetweenThreads) {
    for (const int threads : test::kThreadCounts) {
        const int perThread = 3000 / threads * 3;
        const Semaphore semaphore = Make(INT_MAX, 0);
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

class CountedJob : public RudSysJob {
public:
    explicit CountedJob(std::atomic<int>* alive) : alive_(alive) { ++*alive_; }

private:
    ~CountedJob() override { --*alive_; }
    std::int32_t Execute() override { return ++runs_; }

    std::atomic<int>* alive_;
    int runs_ = 40;
};

TEST(RudSysJob, DiesWithItsLastReferenceOnWhateverThread) {
    for (const int threads : test::kThreadCounts) {
        std::atomic<int> alive{0};
        auto* const job = new CountedJob(&alive);
        const std::unique_ptr<MekEvent> done(CreateMekEvent(0));
        EXPECT_EQ(job->GetWaitingEvent(), nullptr);
        job->SetWaitingEvent(done.get());
        EXPECT_EQ(job->GetWaitingEvent(), done.get());
        EXPECT_EQ(job->CallExecute(), 41);
        EXPECT_EQ(job->CallExecute(), 42);
        for (int i = 0; i < threads; ++i) {
            job->AddReferenceJob();
        }
        test::OnThreads(threads, [job](int) { job->ReleaseReferenceJob(); });
        EXPECT_EQ(alive, 1);
        job->ReleaseReferenceJob();
        EXPECT_EQ(alive, 0);
    }
}

}  // namespace
