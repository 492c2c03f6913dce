#include "ZelREKernel/base/vSlimLock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

TEST(vSlimLock, SerialisesThreads) {
    for (const int threads : {1, 2, 8, 64}) {
        constexpr int kRounds = 2000;
        ZKL::vSlimLock lock;
        int plain = 0;
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i) {
            workers.emplace_back([&] {
                for (int round = 0; round < kRounds; ++round) {
                    const std::lock_guard guard(lock);
                    ++plain;
                }
            });
        }
        for (std::thread& worker : workers) {
            worker.join();
        }
        EXPECT_EQ(plain, threads * kRounds) << threads << " threads";
        EXPECT_TRUE(lock.try_lock());
        EXPECT_FALSE(lock.try_lock());
        lock.unlock();
    }
}

}  // namespace
