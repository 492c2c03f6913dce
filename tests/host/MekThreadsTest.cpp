#include <MekHost/MekStatus.h>
#include <MekHost/assertion/MekCheck.h>
#include <MekHost/process/MekEnvironment.h>
#include <MekHost/system/MekMutex.h>
#include <MekHost/system/MekThreads.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"
#include "support/Threads.h"
#include "support/WaitUntil.h"

namespace {

using Work = std::function<std::int32_t()>;

class Thread : public MekThreads {
public:
    explicit Thread(Work* work) : MekThreads("tested", work, -1, 0, 0) {}

private:
    // The thread may outlive this class's part of the object, so it uses none.
    std::int32_t Run() override { return (*static_cast<Work*>(Argument()))(); }
};

TEST(MekThreads, RunsJoinsAndStartsAgain) {
    int runs = 0;
    Work work = [&] { return ++runs * 100; };
    Thread thread(&work);
    for (const int round : {1, 2}) {
        EXPECT_EQ(thread.Join(), kMekOk);
        EXPECT_EQ(thread.Start(0), kMekOk);
        EXPECT_EQ(thread.Start(0), kMekInvalidParameter);
        EXPECT_EQ(thread.Join(), kMekOk);
        EXPECT_EQ(thread.GetExitCode(), round * 100);
    }
}

TEST(MekThreads, ReportsAndWaitsForAThreadThatWasNotJoined) {
    const test::ScopedCheckHandler checks;
    std::atomic<bool> began{false};
    bool isFinished = false;
    Work work = [&] {
        began = true;
        EXPECT_TRUE(test::WaitUntil([&] { return !checks.Checks().empty(); }));
        isFinished = true;
        return 0;
    };
    {
        Thread thread(&work);
        thread.Start(0);
        test::WaitUntil([&] { return began.load(); });
    }
    EXPECT_TRUE(isFinished);
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
                mutex.unlock();
                ++plain;
            }
        });
        EXPECT_EQ(plain, count * 1000);
    }
}

TEST(MekMutex, ReportsMisuseAndStaysAsItWas) {
    const test::ScopedCheckHandler checks;
    MekMutex mutex;
    mutex.unlock();
    for (const bool isHeld : {true, false}) {
        if (isHeld) {
            mutex.lock();
            mutex.lock();
            mutex.unlock();
        }
        std::thread([&] {
            EXPECT_EQ(mutex.try_lock(), !isHeld);
            mutex.unlock();
        }).join();
        mutex.unlock();
    }
    const std::string unlocked = "a MekMutex is unlocked by a thread that does not hold it";
    EXPECT_EQ(checks.Expressions(), (std::vector<std::string>{unlocked, unlocked, unlocked}));
}

TEST(MekEnvironment, SetsCopiesAndRemoves) {
    std::string value;
    char assignment[] = "ZEL_TEST_ENV=a=b Gr\xC3\xBC\xC3\x9F";
    EXPECT_EQ(MekPutEnv(assignment), kMekOk);
    assignment[13] = '?';
    EXPECT_EQ(MekGetEnv("ZEL_TEST_ENV", &value), kMekOk);
    EXPECT_EQ(value, "a=b Gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(MekRemoveEnv("ZEL_TEST_ENV"), kMekOk);
    EXPECT_EQ(MekGetEnv("ZEL_TEST_ENV", &value), kMekNotFound);
    for (const char* const bad : {"", "name", "=x"}) {
        EXPECT_EQ(MekPutEnv(bad), kMekInvalidParameter);
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
