#pragma once

// The event that CreateMekEvent makes: one word that says whether it is signalled, whether anybody
// has to be woken, and how often it was reset.
//
// Signal() touches the object up to and including one atomic operation on that word, and nothing of
// it afterwards: from there on a waiter may return and delete the event. Who is to be woken is
// known from the word's former value, and both kinds of waiters are found by the event's address
// alone.
//
// The count of resets lets a waiter through that was there when the event was signalled but did not
// get to run before the event was reset.

#include <atomic>
#include <cstdint>

#include "MekHost/system/MekEvent.h"
#include "common/AddressWait.h"
#include "common/Deadline.h"

namespace mek {

class EventState final : public MekEvent {
public:
    static constexpr std::uint32_t kSignalled = 1;
    static constexpr std::uint32_t kSlept = 2;    // a thread may sleep on the word
    static constexpr std::uint32_t kWatched = 4;  // a thread may wait for any of several events
    static constexpr std::uint32_t kFlags = kSignalled | kSlept | kWatched;
    static constexpr std::uint32_t kOneReset = 8;

    explicit EventState(bool signalled) : word_(signalled ? kSignalled : 0) {}

    std::int32_t Signal(int reason) override;
    std::int32_t Reset() override;
    bool IsSignalled() const override { return Word() & kSignalled; }
    int Reason() const override { return reason_.load(std::memory_order_relaxed); }

    // The word, to hand to the operations below as the state before a wait.
    std::uint32_t Word() const { return word_.load(std::memory_order_acquire); }
    // Whether a wait that began at `before` is met at `now`.
    static bool IsMet(std::uint32_t before, std::uint32_t now) {
        return (now & kSignalled) || (now & ~kFlags) != (before & ~kFlags);
    }
    // Waits until signalled; false when the deadline has passed first.
    bool Wait(const Deadline& deadline);
    // Asks for the watchers of this event to be told of its next signal; returns the word. Release:
    // the signaller that sees the request sees the watcher's cleared wake word as well.
    std::uint32_t Watch() { return word_.fetch_or(kWatched, std::memory_order_acq_rel); }

private:
    std::atomic<std::uint32_t> word_;
    std::atomic<int> reason_{0};
    Patience patience_;
};

// Waits until any one of the events is signalled and stores the lowest index found; false when the
// deadline has passed first. Throws std::bad_alloc.
bool WaitForAnyEvent(unsigned count, MekEvent* const* events, const Deadline& deadline,
                     unsigned* index);

// Tells every thread inside WaitForAnyEvent that waits for the event at this address. The address
// is only compared.
void NotifyWatchers(const void* event);

}  // namespace mek
