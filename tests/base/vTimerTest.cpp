#include "ZelREKernel/base/vTimer.h"

#include <gtest/gtest.h>

namespace {

using ZKL::vTimer;

TEST(vTimer, ComputesSignedMilliseconds) {
    const vTimer::time_point a(std::chrono::nanoseconds(1'000'000'000'000'000'001));
    const vTimer::time_point b = a + std::chrono::nanoseconds(1'500'000);
    EXPECT_EQ(vTimer::ComputeDuration(a, b), 1.5);
    EXPECT_EQ(vTimer::ComputeDuration(b, a), -1.5);
}

TEST(vTimer, LosesTheTimeBetweenTheTwoLooks) {
    vTimer timer;
    const vTimer::time_point start = timer.LastSampled();
    double ms = -1;
    timer.GetElapsedTimeAndSample(ms);
    EXPECT_GE(ms, 0);
    EXPECT_LE(ms, vTimer::ComputeDuration(start, timer.LastSampled()));
}

TEST(vTimer, CountsFromTheEpochAndThenFromTheOrigin) {
    vTimer timer;
    double ms = 0;
    timer.GetTime(ms);
    EXPECT_EQ(ms, vTimer::ComputeDuration(vTimer::time_point(), timer.LastSampled()));
    ZKL::InitTimer();
    timer.GetTime(ms);
    EXPECT_LE(ms, 0);  // the sample is older than the origin
    const vTimer::time_point sampled = timer.Sample();
    EXPECT_EQ(timer.LastSampled(), sampled);
    timer.GetTime(ms);
    EXPECT_GE(ms, 0);
    EXPECT_GE(timer.GetElapsedTime(), 0);
}

}  // namespace
