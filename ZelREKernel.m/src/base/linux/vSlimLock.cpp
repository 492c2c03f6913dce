#include "ZelREKernel/base/vSlimLock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace ZKL {
namespace {

// The word's values; after Drepper, "Futexes Are Tricky" (2011), mutex 2.
constexpr std::uint32_t kFree = 0;
constexpr std::uint32_t kHeld = 1;
constexpr std::uint32_t kContended = 2;  // held, and somebody may be asleep

constexpr int kSpins = 64;

}  // namespace

void vSlimLock::lock() noexcept {
    std::atomic_ref<std::uint32_t> word(word_[0]);
    for (int spin = 0; spin < kSpins; ++spin) {
        if (try_lock()) {
            return;
        }
        __builtin_ia32_pause();
    }
    while (word.exchange(kContended, std::memory_order_acquire) != kFree) {
        syscall(SYS_futex, &word_[0], FUTEX_WAIT_PRIVATE, kContended, nullptr, nullptr, 0);
    }
}

bool vSlimLock::try_lock() noexcept {
    std::uint32_t expected = kFree;
    // Acquire on success pairs with the release in unlock(); a failed try reads nothing guarded.
    return std::atomic_ref<std::uint32_t>(word_[0]).compare_exchange_strong(
        expected, kHeld, std::memory_order_acquire, std::memory_order_relaxed);
}

void vSlimLock::unlock() noexcept {
    std::atomic_ref<std::uint32_t> word(word_[0]);
    if (word.exchange(kFree, std::memory_order_release) == kContended) {
        syscall(SYS_futex, &word_[0], FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }
}

}  // namespace ZKL
