#pragma once

// Sleeping on a word in memory, the one thing that an event and a semaphore need of the operating
// system.
//
// Waking takes an address and never reads what is there: a woken thread may have freed the object
// by then. The worst that can follow is a needless wake of whoever sleeps on the same address by
// now, and every sleeper looks at its word again.

#include <algorithm>
#include <atomic>
#include <thread>

#include "common/Deadline.h"

namespace mek {

// Sleeps while the 32-bit word at `address` holds `expected`, until woken or `deadline` has passed.
// May return early for no reason. Returns false when the deadline has passed.
bool SleepOnWord(const void* address, unsigned expected, const Deadline& deadline);

// Wakes at most `count` threads that sleep on the word at `address`.
void WakeSleepers(const void* address, int count);
void WakeAllSleepers(const void* address);

// Waits awake for a few microseconds, about what a sleep and a wake-up cost, so that an answer that
// is under way is met awake. How long pays is learnt per object: an answer in time doubles the
// patience, a wait for nothing halves it, down to what costs next to nothing. On a busy machine,
// where whoever is waited for needs this processor, that soon means to sleep at once.
class Patience {
public:
    // Returns the last answer of `done`. With a single processor nothing can change meanwhile.
    template <typename Done>
    bool WaitFor(Done done) {
        static const bool s_isAlone = std::thread::hardware_concurrency() <= 1;
        // Relaxed: a guess that threads may overwrite for each other.
        const int spins = s_isAlone ? 0 : spins_.load(std::memory_order_relaxed);
        for (int spin = 0; spin < spins; ++spin) {
            if (done()) {
                spins_.store(std::min(2 * spins, kMost), std::memory_order_relaxed);
                return true;
            }
            __builtin_ia32_pause();
        }
        spins_.store(std::max(spins / 2, kLeast), std::memory_order_relaxed);
        return done();
    }

private:
    static constexpr int kLeast = 16;
    static constexpr int kMost = 256;

    std::atomic<int> spins_{64};
};

}  // namespace mek
