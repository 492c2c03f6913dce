#pragma once

// The small record between a shared object and the pointers to it. It outlives the object until the
// last weak pointer lets go, and comes from the pool of vSmartPtrManager.

#include <atomic>
#include <cstdint>

namespace ZKL {

class vSmartPtrObject;

struct alignas(16) vSmartPtrLink {
    // A strong count that stands for an object whose life nobody counts.
    static constexpr std::uint32_t kUnmanaged = 0xffffffff;
    // The bit of the weak word that stands for the object itself, from its construction until it
    // lets go of the link. With it in the word of the count, one atomic step tells who was the
    // last.
    static constexpr std::uint32_t kAttached = 0x80000000;
    // Beside it from the beginning of Destroy on: nobody locks the object any more. It goes with
    // that bit.
    static constexpr std::uint32_t kDying = 0x40000000;
    static constexpr std::uint32_t kWeakCount = kDying - 1;

    std::atomic<vSmartPtrObject*> object;  // null once the object is gone
    std::atomic<std::uint32_t> strong;     // strong pointers, or kUnmanaged
    std::atomic<std::uint32_t> weak;       // weak pointers, and one for all strong ones together
};

static_assert(sizeof(vSmartPtrLink) == 16);

}  // namespace ZKL
