#pragma once

// A recursive lock: the thread that holds it may take it again, and releases it as often as it took
// it. Its operations carry the standard names, so std::lock_guard and std::unique_lock serve it.

#include "MekHost/MekHostExport.h"

class MEKHOST_EXPORT MekMutex {
public:
    // Throws std::system_error when the system has no resources for a lock.
    MekMutex();
    // The lock must be free; if not, the assertion sink hears of it.
    ~MekMutex();
    MekMutex(const MekMutex&) = delete;
    MekMutex& operator=(const MekMutex&) = delete;

    // Takes the lock, waiting for the thread that holds it.
    void lock();
    // Takes the lock if it is free or held by the calling thread; returns whether it did.
    bool try_lock();
    // The calling thread must hold the lock; if it does not, the assertion sink hears of it and
    // nothing else happens.
    void unlock();

private:
    struct Native;
    Native* native_;
};
