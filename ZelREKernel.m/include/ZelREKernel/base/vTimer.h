#pragma once

// Elapsed wall time on the monotonic clock. A timer remembers the instant of its last sample;
// durations are doubles in milliseconds. InitTimer fixes the process-wide origin that GetTime
// counts from.
//
// A timer is a plain value: use one from one thread at a time. InitTimer and the const operations
// may be called from any thread.

#include <chrono>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vTimer {
public:
    // An instant of the monotonic clock, in nanoseconds.
    using time_point = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

    vTimer() noexcept : lastSample_(_Now()) {}

    // Takes a sample: remembers now, and returns it.
    time_point Sample() noexcept {
        lastSample_ = _Now();
        return lastSample_;
    }
    // Milliseconds since the last sample into `ms`, then a new sample from a second look at the
    // clock: what passes between the two looks belongs to no interval.
    void GetElapsedTimeAndSample(double& ms) noexcept {
        ms = GetElapsedTime();
        Sample();
    }

    // The instant of the last sample; of the construction before the first.
    time_point LastSampled() const noexcept { return lastSample_; }
    // Milliseconds since the last sample.
    double GetElapsedTime() const noexcept { return ComputeDuration(lastSample_, _Now()); }
    void GetElapsedTime(double& ms) const noexcept { ms = GetElapsedTime(); }
    // Milliseconds from InitTimer to the last sample; before InitTimer, from the clock's own epoch.
    void GetTime(double& ms) const noexcept;

    // Milliseconds from `from` to `to`, negative when `to` is the earlier.
    static double ComputeDuration(time_point from, time_point to) noexcept {
        return static_cast<double>((to - from).count()) / 1e6;
    }

private:
    static time_point _Now() noexcept {
        return std::chrono::time_point_cast<std::chrono::nanoseconds>(
            std::chrono::steady_clock::now());
    }

    time_point lastSample_;
};

static_assert(sizeof(vTimer) == 8);

// Sets the process-wide time origin to now.
ZELREKERNEL_EXPORT void InitTimer() noexcept;

}  // namespace ZKL
