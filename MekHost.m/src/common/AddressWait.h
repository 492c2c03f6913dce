#pragma once

// Sleeping on a word in memory, the one thing that an event and a semaphore need of the operating
// system.
//
// Waking takes an address and never reads what is there: a woken thread may have freed the object
// by then. The worst that can follow is a needless wake of whoever sleeps on the same address by
// now, and every sleeper looks at its word again.

#include <thread>

#include "common/Deadline.h"

namespace mek {

// Sleeps while the 32-bit word at `address` holds `expected`, until woken or `deadline` has passed.
// May return early for no reason. Returns false when the deadline has passed.
bool SleepOnWord(const void* address, unsigned expected, const Deadline& deadline);

// Wakes at most `count` threads that sleep on the word at `address`.
void WakeSleepers(const void* address, int count);
void WakeAllSleepers(const void* address);

// Gives `done` a few microseconds to become true, about what a sleep and a wake-up would cost, so
// that an answer that is under way is met awake. Returns its last answer. With a single processor
// nothing can change meanwhile and it does not spin.
template <typename Done>
bool SpinBriefly(Done done) {
    static const int s_spins = std::thread::hardware_concurrency() > 1 ? 200 : 0;
    for (int spin = 0; spin < s_spins; ++spin) {
        if (done()) {
            return true;
        }
        __builtin_ia32_pause();
    }
    return done();
}

}  // namespace mek
