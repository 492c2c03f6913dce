#pragma once

// The interface that all memory of this library goes through. Allocators neither throw nor log: a
// request that cannot be met is a null pointer.
//
// Which threads may call an allocator at the same time is for the implementation to say; those of
// this library that say nothing may be used from any thread.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vAllocator {
public:
    virtual ~vAllocator();

    // A block of at least `size` bytes at a multiple of `alignment`, a power of two; 0 leaves the
    // alignment to the allocator. The caller owns it until it hands it to Free of the same object.
    // Null when there is no memory.
    void* Allocate(std::uint32_t size, std::uint32_t alignment) {
        return AllocateImpl(size, alignment);
    }
    // Takes back a block of this allocator; null is ignored.
    void Free(void* p) { FreeImpl(p); }

    // What an allocator overrides; callers use Allocate and Free, which promise the same:
    virtual void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) = 0;
    virtual void FreeImpl(void* p) = 0;

protected:
    constexpr vAllocator() noexcept = default;
    constexpr vAllocator(const vAllocator&) noexcept = default;
    vAllocator& operator=(const vAllocator&) noexcept = default;

    // The distance in bytes from `p` to the first multiple of `alignment` (a power of two) at or
    // after `p + offset`. Only the low 32 bits of the address count, and the sum wraps around.
    static std::uint32_t AlignImpl(const void* p, std::uint32_t alignment,
                                   std::uint32_t offset) noexcept {
        const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(p));
        return ((address + (alignment - 1) + offset) & ~(alignment - 1)) - address;
    }
};

}  // namespace ZKL
