#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "core/linux/InChild.h"
#include "support/TempDir.h"

namespace {

using ZKL::LogRufx;
using ZKL::vLogger;

// The channel that writes into a file while it lives.
class ForkedChild : public testing::Test {
protected:
    ForkedChild() { Channel().SetOutput(file_.c_str()); }
    ~ForkedChild() override { Channel().SetOutput("stdout"); }
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer's own locks stay held in the child, its threads counted";
#endif
    }

    static vLogger& Channel() {
        return ZKL::vLoggerManager::GetInstance().GetLogger(ZKL::vLoggerManager::eRufx);
    }

    const test::TempDir directory_;
    const std::string file_ = directory_.File("log");
    ZKL::vLoggerLifeCycle flusher_;
};

TEST_F(ForkedChild, WritesWhatItLogsAndNothingOfItsParents) {
    flusher_.Initialize();
    LogRufx(vLogger::eInfo, "1");
    const int status = test::InChild([this] {
        LogRufx(vLogger::eInfo, "2");
        flusher_.Initialize();
        LogRufx(vLogger::eInfo, "3");
    });
    EXPECT_EQ(status, 0);
    LogRufx(vLogger::eInfo, "4");
    flusher_.Terminate();
    std::istringstream text(test::ReadText(file_));
    std::multiset<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.insert(line);
    }
    EXPECT_EQ(lines, (std::multiset<std::string>{"[INFO]\t : 1", "[INFO]\t : 2", "[INFO]\t : 3",
                                                 "[INFO]\t : 4"}));
}

TEST_F(ForkedChild, LogsWhateverOtherThreadsWereAbout) {
    for (const bool flushes : {false, true}) {
        if (flushes) {
            flusher_.Initialize();
        }
        std::atomic<bool> done = false;
        std::thread other([&done] {
            while (!done) {
                LogRufx(vLogger::eInfo, "a line of the parent's");
            }
        });
        for (int round = 0; round < 30 && !HasFailure(); ++round) {
            // Without its static objects' end: a leak checker would tell of the memory given up.
            EXPECT_EQ(test::InChild([] {
                          LogRufx(vLogger::eInfo, "a line of the child's");
                          _exit(0);
                      }),
                      0);
        }
        done = true;
        other.join();
    }
    flusher_.Terminate();
}

}  // namespace
