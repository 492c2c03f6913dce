#pragma once

// A manual-reset event: once signalled it lets every waiter through until it is reset.
//
// Every function may be called from any thread. The creator deletes the event when no thread waits
// on it any more; it may be deleted as soon as a wait on it has returned, even while the signalling
// thread is still on its way out of Signal().

#include <cstdint>

#include "MekHost/MekHostExport.h"

class MEKHOST_EXPORT MekEvent {
public:
    virtual ~MekEvent() = default;
    MekEvent(const MekEvent&) = delete;
    MekEvent& operator=(const MekEvent&) = delete;

    // Signals the event. `reason` is kept for whoever debugs a wait; the last signal's is the one
    // that Reason() returns.
    virtual std::int32_t Signal(int reason) = 0;
    // Takes the signal back. Whoever waited for this event alone or for any one of several when it
    // was signalled comes through all the same.
    virtual std::int32_t Reset() = 0;
    // Whether it is signalled at this moment; another thread may change that at once.
    virtual bool IsSignalled() const = 0;
    // The reason of the last signal, 0 before the first; a Reset leaves it.
    virtual int Reason() const = 0;

protected:
    MekEvent() = default;
};

// Makes an event, signalled from the start when `initialState` is not 0. The caller owns it and
// deletes it. Throws std::bad_alloc or std::system_error when the system has no resources.
MEKHOST_EXPORT MekEvent* CreateMekEvent(int initialState);

// Waits until `event` is signalled, at most `timeoutMs` milliseconds; -1 waits for ever, 0 only
// looks. Returns kMekOk, kMekTimeout, or kMekInvalidParameter (null event, time-out below -1).
MEKHOST_EXPORT std::int32_t WaitForSingleEvent(MekEvent* event, int timeoutMs);

// Waits until all (`waitAll` not 0) or any one of `count` events are signalled. `signalledIndex`,
// if given, receives the lowest index found signalled when a wait for any one succeeds. Returns as
// WaitForSingleEvent, or kMekOutOfMemory; a count of 0 is met at once when waiting for all and is
// an invalid parameter when waiting for any one. Waiting for all means signalled at the same time:
// an event reset before the others were signalled counts as not signalled. Events come from
// CreateMekEvent. No limit on `count`; O(count) for every wake-up.
MEKHOST_EXPORT std::int32_t WaitForMultipleEvents(unsigned count, MekEvent* const* events,
                                                  int waitAll, int timeoutMs,
                                                  unsigned* signalledIndex = nullptr);
