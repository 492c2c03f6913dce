#include "ZelREKernel/tasks/vThreadPoolManager.h"

#include <gtest/gtest.h>

#include <atomic>

#include "ZelREKernel/core/vCPUInfos.h"
#include "support/WaitUntil.h"

namespace {

TEST(vThreadPoolManager, OneArenaThatStartsAgainAfterItsDestruction) {
    tbb::task_arena& arena = ZKL::vThreadPoolManager::GetTBBThreadPool(0xFFFFFFFF);
    EXPECT_EQ(&ZKL::vThreadPoolManager::GetTBBThreadPool(0), &arena);
    EXPECT_EQ(&ZKL::vThreadPoolManager::GetTBBThreadPool(5), &arena);
    ZKL::vThreadPoolManager::DestroyThreadPool();
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(arena.is_active());
        int ran = 0;
        arena.execute([&] { ++ran; });
        EXPECT_EQ(ran, 1);
        EXPECT_TRUE(arena.is_active());
        std::atomic<bool> enqueued = false;
        arena.enqueue([&] { enqueued = true; });
        EXPECT_TRUE(test::WaitUntil([&] { return enqueued.load(); }));
        EXPECT_EQ(arena.max_concurrency(), static_cast<int>(ZKL::GetCPUInfos().cores));
        ZKL::vThreadPoolManager::DestroyThreadPool();
    }
}

}  // namespace
