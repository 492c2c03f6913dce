#pragma once

// Pins an alignment onto another allocator, for callers that leave the alignment open.
//
// It holds no mutable state, so it is as safe between threads as the allocator that it wraps.

#include "ZelREKernel/base/vAllocator.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vAlignedAllocatorWrapper : public vAllocator {
public:
    // Borrows `allocator`, which must outlive this object and every block had from it.
    vAlignedAllocatorWrapper(vAllocator* allocator, std::uint32_t alignment) noexcept;
    vAlignedAllocatorWrapper(const vAlignedAllocatorWrapper&) noexcept = default;
    vAlignedAllocatorWrapper& operator=(const vAlignedAllocatorWrapper&) noexcept = default;
    ~vAlignedAllocatorWrapper() override;

    // Asks the wrapped allocator for the pinned alignment when `alignment` is 0, otherwise for the
    // bits that the two have in common: for two different powers of two that is 0, which leaves the
    // alignment to the wrapped allocator.
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override;
    // Hands the block to the wrapped allocator.
    void FreeImpl(void* p) override;

private:
    vAllocator* allocator_;
    std::uint32_t alignment_;
};

}  // namespace ZKL
