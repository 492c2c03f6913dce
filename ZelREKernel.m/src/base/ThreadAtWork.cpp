#include "base/ThreadAtWork.h"

#include <atomic>

namespace ZKL {
namespace {

constinit std::atomic<int> s_count{0};

}  // namespace

ThreadAtWork::ThreadAtWork() noexcept {
    s_count.fetch_add(1, std::memory_order_relaxed);
}

ThreadAtWork::~ThreadAtWork() {
    // Release: the thread's use of the library comes before its end.
    s_count.fetch_sub(1, std::memory_order_release);
}

bool ThreadAtWork::Exists() noexcept {
    return s_count.load(std::memory_order_acquire) != 0;
}

}  // namespace ZKL
