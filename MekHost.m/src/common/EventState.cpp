#include "common/EventState.h"

#include "MekHost/MekStatus.h"
#include "common/AddressWait.h"

namespace mek {

std::int32_t EventState::Signal(int reason) {
    reason_.store(reason, std::memory_order_relaxed);
    const void* const address = &word_;
    // Release: what the signaller did before is seen by whoever the signal lets through. Acquire:
    // pairs with Watch(). This is the last access to the object, see the head of EventState.h.
    const std::uint32_t before = word_.fetch_or(kSignalled, std::memory_order_acq_rel);
    if (before & kSignalled) {
        return kMekOk;
    }
    if (before & kSlept) {
        WakeAllSleepers(address);
    }
    if (before & kWatched) {
        NotifyWatchers(this);
    }
    return kMekOk;
}

std::int32_t EventState::Reset() {
    std::uint32_t word = word_.load(std::memory_order_relaxed);
    // The release sequence headed by the signal goes on through these, so a waiter that sees only
    // the reset still sees what came before the signal.
    while ((word & kSignalled) &&
           !word_.compare_exchange_weak(word, (word & ~kFlags) + kOneReset,
                                        std::memory_order_acq_rel, std::memory_order_relaxed)) {
    }
    return kMekOk;
}

bool EventState::Wait(const Deadline& deadline) {
    const std::uint32_t before = Word();
    if (patience_.WaitFor([&] { return IsMet(before, Word()); })) {
        return true;
    }
    for (;;) {
        std::uint32_t word = Word();
        if (IsMet(before, word)) {
            return true;
        }
        if (!(word & kSlept)) {
            if (!word_.compare_exchange_weak(word, word | kSlept, std::memory_order_relaxed)) {
                continue;
            }
            word |= kSlept;
        }
        if (!SleepOnWord(&word_, word, deadline)) {
            return IsMet(before, Word());
        }
    }
}

}  // namespace mek
