#pragma once

// A joinable thread as an object: derive, override Run(), Start() it, Join() it.
//
// Start and Join are for the owning thread. A derived class joins before its own members die, at
// the latest in its destructor: the base class can only report a thread that is still running to
// the assertion sink and wait for it.
//
// In a child that fork() made, an object of the parent's stands for no thread: there is none to
// join, and Start starts one.

#include <cstddef>
#include <cstdint>

#include "MekHost/MekHostExport.h"

class MEKHOST_EXPORT MekThreads {
public:
    // `name`: shown by debuggers, copied, may be null. `argument`: kept for the derived class, see
    // Argument(). `processor`: the logical processor to run on, -1 for any. `stackBytes`: 0 for the
    // system's default. `flags`: reserved, 0.
    MekThreads(const char* name, void* argument, int processor, std::size_t stackBytes, int flags);
    virtual ~MekThreads();
    MekThreads(const MekThreads&) = delete;
    MekThreads& operator=(const MekThreads&) = delete;

    // Starts the thread. `flags` is reserved and 0. Returns kMekOk, kMekInvalidParameter (already
    // started and not joined, flags, or a processor that this process may not use) or
    // kMekOutOfMemory (no thread to be had).
    std::int32_t Start(int flags);
    // Waits until Run() has returned. Returns kMekOk (also when nothing was started) or
    // kMekInvalidParameter when called from the thread itself.
    std::int32_t Join();
    // Between a successful Start and the Join after it, whether or not Run() has returned.
    bool IsJoinable() const;
    // What Run() returned, 0 before the thread was joined.
    std::int32_t GetExitCode() const;
    // What the constructor was given; the derived class says who owns it.
    void* Argument() const;

protected:
    // The thread's work. Must not throw; an exception ends the process.
    virtual std::int32_t Run() = 0;

private:
    struct Native;
    Native* native_;
};
