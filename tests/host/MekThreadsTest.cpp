#include <MekHost/MekStatus.h>
#include <MekHost/assertion/MekCheck.h>
#include <MekHost/process/MekEnvironment.h>
#include <MekHost/system/MekEvent.h>
#include <MekHost/system/MekMutex.h>
#include <MekHost/system/MekThreads.h>
#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"
#include "support/Threads.h"
#include "support/WaitUntil.h"

namespace {

class Thread : public MekThreads {
public:
    explicit Thread(std::function<std::int32_t()> work, const char* name = nullptr,
                    int processor = -1, std::size_t stackBytes = 0)
        : MekThreads(name, nullptr, processor, stackBytes, 0), work_(std::move(work)) {}

private:
    std::int32_t Run() override { return work_(); }

    std::function<std::int32_t()> work_;
};

TEST(MekThreads, RunsJoinsAndStartsAgain) {
    for (const int count : test::kThreadCounts) {
        std::vector<int> runs(static_cast<std::size_t>(count), 0);
        std::vector<std::unique_ptr<Thread>> threads;
        for (int& run : runs) {
            threads.push_back(std::make_unique<Thread>([&run] { return ++run * 100; }));
        }
        for (const int round : {1, 2}) {
            for (const auto& thread : threads) {
                EXPECT_FALSE(thread->IsJoinable());
                EXPECT_EQ(thread->Join(), kMekOk);
                EXPECT_EQ(thread->Start(0), kMekOk);
                EXPECT_EQ(thread->Start(0), kMekInvalidParameter);
                EXPECT_TRUE(thread->IsJoinable());
                EXPECT_EQ(thread->GetExitCode(), 0);
            }
            for (const auto& thread : threads) {
                EXPECT_EQ(thread->Join(), kMekOk);
                EXPECT_EQ(thread->GetExitCode(), round * 100);
            }
        }
    }
}

// What a thread that outlives its derived class may still use.
struct Outside {
    std::unique_ptr<MekEvent> began{CreateMekEvent(0)};
    std::unique_ptr<MekEvent> finish{CreateMekEvent(0)};
    bool isFinished = false;
};

class Straggler : public MekThreads {
public:
    explicit Straggler(Outside* outside) : MekThreads("straggler", outside, -1, 0, 0) {}

private:
    std::int32_t Run() override {
        auto* const outside = static_cast<Outside*>(Argument());
        outside->began->Signal(0);
        WaitForSingleEvent(outside->finish.get(), -1);
        outside->isFinished = true;
        return 0;
    }
};

TEST(MekThreads, ReportsAndWaitsForAThreadThatWasNotJoined) {
    const test::ScopedCheckHandler checks;
    Outside outside;
    std::thread observer([&] {
        EXPECT_TRUE(test::WaitUntil([&] { return !checks.Checks().empty(); }));
        outside.finish->Signal(0);
    });
    {
        Straggler thread(&outside);
        thread.Start(0);
        WaitForSingleEvent(outside.began.get(), -1);
    }
    EXPECT_TRUE(outside.isFinished);
    observer.join();
    EXPECT_EQ(checks.Expressions(),
              std::vector<std::string>{"a MekThreads is destroyed before it was joined"});
}

TEST(MekMutex, SerialisesThreadsAndKnowsItsHolder) {
    for (const int count : test::kThreadCounts) {
        MekMutex mutex;
        int plain = 0;
        test::OnThreads(count, [&](int) {
            for (int round = 0; round < 1000; ++round) {
                const std::lock_guard outer(mutex);
                const std::lock_guard inner(mutex);
                EXPECT_TRUE(mutex.try_lock());
                ++plain;
                mutex.unlock();
            }
        });
        EXPECT_EQ(plain, count * 1000);
    }
}

TEST(MekMutex, ReportsMisuseAndStaysAsItWas) {
    const test::ScopedCheckHandler checks;
    auto mutex = std::make_unique<MekMutex>();
    mutex->unlock();
    mutex->lock();
    mutex->lock();
    const auto tryElsewhere = [&] {
        bool taken = false;
        std::thread([&] {
            taken = mutex->try_lock();
            mutex->unlock();
        }).join();
        return taken;
    };
    EXPECT_FALSE(tryElsewhere());
    mutex->unlock();
    EXPECT_FALSE(tryElsewhere());
    mutex->unlock();
    EXPECT_TRUE(tryElsewhere());
    const std::string unlocked = "a MekMutex is unlocked by a thread that does not hold it";
    EXPECT_EQ(checks.Expressions(), (std::vector<std::string>{unlocked, unlocked, unlocked}));
}

TEST(MekEnvironment, SetsGetsAndRemoves) {
    std::string value = "before";
    EXPECT_EQ(MekGetEnv("ZEL_TEST_ENV", &value), kMekNotFound);
    EXPECT_EQ(value, "before");
    for (const std::string text : {"1", "a=b", "two words", "Gr\xC3\xBC\xC3\x9F", ""}) {
        std::string assignment = "ZEL_TEST_ENV=" + text;
        EXPECT_EQ(MekPutEnv(assignment.c_str()), kMekOk);
        assignment.assign(assignment.size(), '?');  // the text was copied
        const std::int32_t status = MekGetEnv("ZEL_TEST_ENV", &value);
        // An empty variable is one that is not there where the system knows no empty ones.
        EXPECT_TRUE(status == kMekOk ? value == text : text.empty()) << text;
    }
    EXPECT_EQ(MekRemoveEnv("ZEL_TEST_ENV"), kMekOk);
    EXPECT_EQ(MekRemoveEnv("ZEL_TEST_ENV"), kMekOk);
    EXPECT_EQ(MekGetEnv("ZEL_TEST_ENV", &value), kMekNotFound);
    for (const char* const name : {static_cast<const char*>(nullptr), "", "a=b"}) {
        EXPECT_EQ(MekGetEnv(name, &value), kMekInvalidParameter);
        EXPECT_EQ(MekRemoveEnv(name), kMekInvalidParameter);
    }
    EXPECT_EQ(MekGetEnv("ZEL_TEST_ENV", nullptr), kMekInvalidParameter);
    for (const char* const assignment : {static_cast<const char*>(nullptr), "", "name", "=x"}) {
        EXPECT_EQ(MekPutEnv(assignment), kMekInvalidParameter);
    }
}

TEST(MekCheck, PrintsWhatNobodyElseWantsToHear) {
    const MekCheckHandler before = MekSetCheckHandler(nullptr);
    test::CaptureStream errors(2);
    Check_TRUE_Failed__("a < b", "some/file.cpp", 12);
    Check_Pointer_Failed__(nullptr, nullptr, -1);
    CheckFailure__("why", "x", 0);
    MekSetCheckHandler(before);
    EXPECT_EQ(errors.Text(),
              "some/file.cpp:12: check failed: a < b\n(null):-1: check failed: (null)\n"
              "x:0: check failed: why\n");
}

}  // namespace
