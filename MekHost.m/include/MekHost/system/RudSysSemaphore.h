#pragma once

// A counting semaphore. Every operation may be called from any thread; the owner deletes it when no
// thread waits on it.

#include <cstdint>

#include "MekHost/MekHostExport.h"

class MEKHOST_EXPORT RudSysSemaphore {
public:
    // Makes a semaphore that holds `initialCount` permits and never more than `maximumCount`;
    // `flags` is reserved and 0. The caller owns it. Null when the counts do not fit
    // (0 <= initial <= maximum, maximum at least 1) or the system has no resources.
    static RudSysSemaphore* RudSysCreateSemaphore(int maximumCount, int initialCount, int flags);

    virtual ~RudSysSemaphore() = default;
    RudSysSemaphore(const RudSysSemaphore&) = delete;
    RudSysSemaphore& operator=(const RudSysSemaphore&) = delete;

    // Takes one permit, waiting for it at most `timeoutMs` milliseconds (-1: for ever, 0: not at
    // all). Returns kMekOk, kMekTimeout or kMekInvalidParameter (a time-out below -1).
    virtual std::int32_t Wait(int timeoutMs = -1) = 0;
    // Adds `count` permits. Returns kMekOk, kMekInvalidParameter (a count below 1) or, leaving the
    // semaphore as it was, kMekTooManyPosts.
    virtual std::int32_t Post(int count = 1) = 0;

protected:
    RudSysSemaphore() = default;
};
