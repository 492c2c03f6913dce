#include "ZelREKernel/base/vTimer.h"

#include <atomic>

namespace ZKL {
namespace {

// Relaxed throughout: the origin is one number that publishes nothing else.
constinit std::atomic<vTimer::time_point::rep> origin{0};

}  // namespace

void vTimer::GetTime(double& ms) const noexcept {
    const std::chrono::nanoseconds start(origin.load(std::memory_order_relaxed));
    ms = ComputeDuration(time_point(start), lastSample_);
}

void InitTimer() noexcept {
    origin.store(vTimer().LastSampled().time_since_epoch().count(), std::memory_order_relaxed);
}

}  // namespace ZKL
