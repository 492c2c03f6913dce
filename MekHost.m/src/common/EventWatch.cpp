// Waiting for any one of several events. A waiting thread enters a watch for each event in a table
// keyed by the event's address; the signal of a watched event looks there for whom to wake.

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "common/AddressWait.h"
#include "common/EventState.h"

namespace mek {
namespace {

struct Watch {
    EventState* event = nullptr;
    std::atomic<std::uint32_t>* wake = nullptr;  // the waiting thread's word
    std::uint32_t before = 0;                    // the event's word when the wait began
    Watch* previous = nullptr;
    Watch* next = nullptr;
};

// A watch lives on its waiter's stack and leaves its bucket before the wait returns, so what is
// found in a bucket under its mutex is alive.
struct Bucket {
    std::mutex mutex;
    Watch* first = nullptr;
};

std::array<Bucket, 64> s_buckets;

Bucket& BucketOf(const void* event) {
    // Events are heap blocks: the lowest four bits tell nothing.
    const auto number = reinterpret_cast<std::uintptr_t>(event) >> 4;
    return s_buckets[(number ^ (number >> 6)) % s_buckets.size()];
}

void Enter(Watch& watch) {
    Bucket& bucket = BucketOf(watch.event);
    const std::lock_guard guard(bucket.mutex);
    watch.next = bucket.first;
    if (watch.next) {
        watch.next->previous = &watch;
    }
    bucket.first = &watch;
}

void Leave(Watch& watch) {
    Bucket& bucket = BucketOf(watch.event);
    const std::lock_guard guard(bucket.mutex);
    (watch.previous ? watch.previous->next : bucket.first) = watch.next;
    if (watch.next) {
        watch.next->previous = watch.previous;
    }
}

// The watches of one wait, entered while it lives.
class WatchList {
public:
    WatchList(unsigned count, MekEvent* const* events) : watches_(count) {
        for (unsigned i = 0; i < count; ++i) {
            Watch& watch = watches_[i];
            watch.event = static_cast<EventState*>(events[i]);
            watch.wake = &wake_;
            watch.before = watch.event->Word();
            Enter(watch);
        }
    }
    ~WatchList() {
        for (Watch& watch : watches_) {
            Leave(watch);
        }
    }
    WatchList(const WatchList&) = delete;
    WatchList& operator=(const WatchList&) = delete;

    bool Wait(const Deadline& deadline, unsigned* index) {
        for (;;) {
            // Cleared before the look at the events, so that a signal after the look is not lost.
            wake_.store(0, std::memory_order_relaxed);
            if (FindMet(index)) {
                return true;
            }
            if (!SleepOnWord(&wake_, 0, deadline)) {
                return FindMet(index);
            }
        }
    }

private:
    bool FindMet(unsigned* index) {
        for (Watch& watch : watches_) {
            if (EventState::IsMet(watch.before, watch.event->Watch())) {
                *index = static_cast<unsigned>(&watch - watches_.data());
                return true;
            }
        }
        return false;
    }

    std::vector<Watch> watches_;
    std::atomic<std::uint32_t> wake_{0};
};

}  // namespace

bool WaitForAnyEvent(unsigned count, MekEvent* const* events, const Deadline& deadline,
                     unsigned* index) {
    return WatchList(count, events).Wait(deadline, index);
}

void NotifyWatchers(const void* event) {
    Bucket& bucket = BucketOf(event);
    const std::lock_guard guard(bucket.mutex);
    for (Watch* watch = bucket.first; watch; watch = watch->next) {
        if (watch->event == event) {
            watch->wake->store(1, std::memory_order_relaxed);
            WakeAllSleepers(watch->wake);
        }
    }
}

}  // namespace mek
