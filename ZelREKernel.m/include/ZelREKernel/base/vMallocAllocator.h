#pragma once

// The plain allocator over the system's aligned heap, and the process-wide default one, which
// serves nearly all memory of this library.
//
// It holds no mutable state: any thread may allocate, and another may free.

#include "ZelREKernel/base/vAllocator.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vMallocAllocator : public vAllocator {
public:
    static constexpr std::uint32_t kDefaultAlignment = 8;  // bytes

    constexpr vMallocAllocator() noexcept : vMallocAllocator(kDefaultAlignment) {}
    // `alignment`, a power of two, is the least alignment of every block.
    explicit constexpr vMallocAllocator(std::uint32_t alignment) noexcept : alignment_(alignment) {}
    constexpr vMallocAllocator(const vMallocAllocator&) noexcept = default;
    vMallocAllocator& operator=(const vMallocAllocator&) noexcept = default;
    ~vMallocAllocator() override;

    // Aligned to the larger of `alignment` and this allocator's own. A size of 0 gives a block of
    // its own. Where the larger of the two is no power of two, that is reported as misuse and gives
    // null.
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override;
    // Takes a block of any vMallocAllocator, on any thread; null is ignored.
    void FreeImpl(void* p) override;

private:
    std::uint32_t alignment_;
};

// The process-wide allocator of alignment 8. It is there before any constructor runs and stays
// usable through static destruction.
ZELREKERNEL_EXPORT vAllocator* DefaultAllocator() noexcept;

}  // namespace ZKL
