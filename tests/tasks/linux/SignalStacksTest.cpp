#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>

#include "ZelREKernel/tasks/vThreadPoolManager.h"
#include "support/WaitUntil.h"

namespace {

using ZKL::vThreadPoolManager;

// 1 when oneTBB's thread has a stack for the handler of a fatal fault, 0 when not.
int LookOnAWorker() {
    std::atomic<int> has = -1;
    vThreadPoolManager::GetTBBThreadPool(0).enqueue([&] {
        stack_t stack = {};
        has = sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_DISABLE) == 0;
    });
    EXPECT_TRUE(test::WaitUntil([&] { return has >= 0; }));
    return has;
}

TEST(SignalStacks, WorkersHaveThemAlsoAfterTheArenaWasDestroyed) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(test::WaitUntil([] { return LookOnAWorker() == 1; })) << round;
        vThreadPoolManager::DestroyThreadPool();
    }
}

}  // namespace
