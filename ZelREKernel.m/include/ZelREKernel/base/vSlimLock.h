#pragma once

// A small exclusive lock without an owner: eight bytes, zero when free, ready before any
// constructor runs. It is the system's slim reader/writer lock on Windows and a futex on Linux.
//
// Not recursive. Its operations carry the standard names, so std::lock_guard serves it.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vSlimLock {
public:
    constexpr vSlimLock() noexcept = default;
    vSlimLock(const vSlimLock&) = delete;
    vSlimLock& operator=(const vSlimLock&) = delete;

    // Takes the lock, waiting for it; for ever on the thread that holds it.
    void lock() noexcept;
    // Takes the lock if it is free; returns whether it did.
    bool try_lock() noexcept;
    // Lets go of the lock, which the calling thread has taken.
    void unlock() noexcept;

private:
    alignas(8) std::uint32_t word_[2] = {0, 0};
};

static_assert(sizeof(vSlimLock) == 8);

}  // namespace ZKL
