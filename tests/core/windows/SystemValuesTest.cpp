// What this library shares with the system: its status codes and its clock.

#include <gtest/gtest.h>
#include <windows.h>

#include "ZelREKernel/base/vTimer.h"
#include "ZelREKernel/core/vModule.h"

namespace {

TEST(SystemValues, StatusCodesAreTheSystems) {
    EXPECT_EQ(ZKL::vModule::kOk, S_OK);
    EXPECT_EQ(ZKL::vModule::kPointer, E_POINTER);
    EXPECT_EQ(ZKL::vModule::kOutOfMemory, E_OUTOFMEMORY);
    EXPECT_EQ(ZKL::vModule::kUnexpected, E_UNEXPECTED);
    EXPECT_TRUE(SUCCEEDED(ZKL::vModule::kAlreadyInitialized));
    EXPECT_EQ(ZKL::vModule::kAlreadyInitialized, ERROR_ALREADY_INITIALIZED);
}

// The performance counter in nanoseconds, computed without overflow.
std::int64_t CounterNs() {
    LARGE_INTEGER counter;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&counter);
    QueryPerformanceFrequency(&frequency);
    constexpr std::int64_t kSecond = 1'000'000'000;
    return counter.QuadPart / frequency.QuadPart * kSecond +
           counter.QuadPart % frequency.QuadPart * kSecond / frequency.QuadPart;
}

TEST(SystemValues, TheTimerReadsThePerformanceCounter) {
    const std::int64_t before = CounterNs();
    ZKL::InitTimer();
    const std::int64_t between = CounterNs();
    ZKL::vTimer timer;
    const std::int64_t after = CounterNs();
    const std::int64_t sample = timer.LastSampled().time_since_epoch().count();
    // The clock rounds to the nearest nanosecond, the counter above is cut.
    EXPECT_GE(sample, between);
    EXPECT_LE(sample, after + 1);
    double ms = 0;
    timer.GetTime(ms);
    EXPECT_GE(ms, static_cast<double>(sample - between - 1) / 1e6);
    EXPECT_LE(ms, static_cast<double>(sample - before) / 1e6);
}

}  // namespace
