#include "ZelREKernel/base/vMainThread.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace {

// Runs in a process of its own, where nobody has asked yet.
TEST(vMainThreadDeathTest, IsTheFirstThatAsks) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ask = [] {
        bool first = false;
        std::thread([&] { first = ZKL::IsMainThread() && ZKL::IsMainThread(); }).join();
        std::exit(first && !ZKL::IsMainThread() ? 0 : 1);
    };
    EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}

}  // namespace
