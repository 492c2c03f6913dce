// Making events and waiting for them.

#include <algorithm>
#include <new>

#include "MekHost/MekStatus.h"
#include "MekHost/system/MekEvent.h"
#include "common/EventState.h"

namespace mek {
namespace {

EventState& StateOf(MekEvent* event) {
    return *static_cast<EventState*>(event);
}

// Adds up the resets of all events; false when one of them is not signalled.
bool AreAllSignalled(unsigned count, MekEvent* const* events, std::uint32_t* resets) {
    *resets = 0;
    return std::all_of(events, events + count, [&](MekEvent* event) {
        const std::uint32_t word = StateOf(event).Word();
        *resets += word / EventState::kOneReset;
        return (word & EventState::kSignalled) != 0;
    });
}

// Two looks at all events with no reset in between prove that there was a moment at which all of
// them were signalled at once.
bool WereAllSignalledAtOnce(unsigned count, MekEvent* const* events) {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    return AreAllSignalled(count, events, &first) && AreAllSignalled(count, events, &second) &&
           first == second;
}

bool WaitForAllEvents(unsigned count, MekEvent* const* events, const Deadline& deadline) {
    while (!WereAllSignalledAtOnce(count, events)) {
        for (unsigned i = 0; i < count; ++i) {
            if (!StateOf(events[i]).IsSignalled() && !StateOf(events[i]).Wait(deadline)) {
                return false;
            }
        }
    }
    return true;
}

// What a look without waiting finds.
bool FindSignalled(unsigned count, MekEvent* const* events, unsigned* index) {
    MekEvent* const* const found = std::find_if(
        events, events + count, [](MekEvent* event) { return StateOf(event).IsSignalled(); });
    *index = static_cast<unsigned>(found - events);
    return *index < count;
}

}  // namespace
}  // namespace mek

MekEvent* CreateMekEvent(int initialState) {
    return new mek::EventState(initialState != 0);
}

std::int32_t WaitForSingleEvent(MekEvent* event, int timeoutMs) {
    if (!event || !mek::Deadline::IsValid(timeoutMs)) {
        return kMekInvalidParameter;
    }
    mek::EventState& state = mek::StateOf(event);
    if (state.IsSignalled()) {
        return kMekOk;
    }
    const bool met = timeoutMs != 0 && state.Wait(mek::Deadline(timeoutMs));
    return met ? kMekOk : kMekTimeout;
}

std::int32_t WaitForMultipleEvents(unsigned count, MekEvent* const* events, int waitAll,
                                   int timeoutMs, unsigned* signalledIndex) {
    if (count == 0 && waitAll && mek::Deadline::IsValid(timeoutMs)) {
        return kMekOk;
    }
    if (!events || count == 0 || !mek::Deadline::IsValid(timeoutMs) ||
        std::count(events, events + count, nullptr) != 0) {
        return kMekInvalidParameter;
    }
    const mek::Deadline deadline(timeoutMs);
    if (waitAll) {
        const bool met = timeoutMs == 0 ? mek::WereAllSignalledAtOnce(count, events)
                                        : mek::WaitForAllEvents(count, events, deadline);
        return met ? kMekOk : kMekTimeout;
    }
    unsigned index = 0;
    bool met = mek::FindSignalled(count, events, &index);
    if (!met && timeoutMs != 0) {
        try {
            met = mek::WaitForAnyEvent(count, events, deadline, &index);
        } catch (const std::bad_alloc&) {
            return kMekOutOfMemory;
        }
    }
    if (met && signalledIndex) {
        *signalledIndex = index;
    }
    return met ? kMekOk : kMekTimeout;
}
