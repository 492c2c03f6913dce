#include "MekHost/system/RudSysSemaphore.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <new>

#include "MekHost/MekStatus.h"
#include "common/AddressWait.h"

namespace {

// Permits and sleepers share one atomic, so that a post is one operation after which the object is
// not touched, and sleepers are woken by address alone: whoever got the permit may delete it.
class Semaphore final : public RudSysSemaphore {
public:
    Semaphore(std::uint64_t maximum, std::uint64_t initial) : state_(initial), maximum_(maximum) {}

    std::int32_t Wait(int timeoutMs) override {
        if (!mek::Deadline::IsValid(timeoutMs)) {
            return kMekInvalidParameter;
        }
        if (Take(0)) {
            return kMekOk;
        }
        if (timeoutMs == 0) {
            return kMekTimeout;
        }
        const mek::Deadline deadline(timeoutMs);
        const bool taken = patience_.WaitFor([&] { return Take(0); }) || Sleep(deadline);
        return taken ? kMekOk : kMekTimeout;
    }

    std::int32_t Post(int count) override {
        if (count < 1) {
            return kMekInvalidParameter;
        }
        const auto posted = static_cast<std::uint64_t>(count);
        const void* const address = PermitsAddress();
        std::uint64_t state = state_.load(std::memory_order_relaxed);
        do {
            if ((state & kPermits) + posted > maximum_) {
                return kMekTooManyPosts;
            }
            // Release: what the poster did before is seen by whoever takes the permit.
        } while (!state_.compare_exchange_weak(state, state + posted, std::memory_order_release,
                                               std::memory_order_relaxed));
        // Nobody falls asleep while there is a permit, so every permit that was there has woken a
        // sleeper of its own already: a burst of posts to one sleeper takes one system call.
        const std::uint64_t sleepers = state / kOneSleeper;
        const std::uint64_t permits = state & kPermits;
        if (sleepers > permits) {
            mek::WakeSleepers(address, static_cast<int>(std::min(posted, sleepers - permits)));
        }
        return kMekOk;
    }

private:
    static constexpr std::uint64_t kPermits = 0xFFFFFFFF;  // lower half: permits, upper: sleepers
    static constexpr std::uint64_t kOneSleeper = kPermits + 1;

    // Takes a permit if there is one, and `sleepers` out of the number of sleepers with it.
    bool Take(std::uint64_t sleepers) {
        std::uint64_t state = state_.load(std::memory_order_relaxed);
        while (state & kPermits) {
            // Acquire: pairs with the release in Post.
            if (state_.compare_exchange_weak(state, state - 1 - sleepers * kOneSleeper,
                                             std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    bool Sleep(const mek::Deadline& deadline) {
        state_.fetch_add(kOneSleeper, std::memory_order_relaxed);
        bool inTime = true;
        while (!Take(1)) {
            if (!inTime) {
                state_.fetch_sub(kOneSleeper, std::memory_order_relaxed);
                return false;
            }
            inTime = mek::SleepOnWord(PermitsAddress(), 0, deadline);
        }
        return true;
    }

    const void* PermitsAddress() const {
        static_assert(std::endian::native == std::endian::little, "the lower half comes first");
        return &state_;
    }

    std::atomic<std::uint64_t> state_;
    const std::uint64_t maximum_;
    mek::Patience patience_;
};

}  // namespace

RudSysSemaphore* RudSysSemaphore::RudSysCreateSemaphore(int maximumCount, int initialCount,
                                                        int /*flags*/) {
    if (maximumCount < 1 || initialCount < 0 || initialCount > maximumCount) {
        return nullptr;
    }
    return new (std::nothrow) Semaphore(static_cast<std::uint64_t>(maximumCount),
                                        static_cast<std::uint64_t>(initialCount));
}
