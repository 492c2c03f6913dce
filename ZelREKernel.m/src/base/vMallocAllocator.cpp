#include "ZelREKernel/base/vMallocAllocator.h"

#include <algorithm>

#include "base/AlignedHeap.h"

namespace ZKL {

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::uint32_t vMallocAllocator::kDefaultAlignment;
namespace {

// A union's member is not destroyed with it: an allocator whose destructor ran would have lost its
// operations while other statics still give their memory back.
union Undestroyed {
    constexpr Undestroyed() noexcept : allocator() {}
    ~Undestroyed() {}
    vMallocAllocator allocator;
};

constinit Undestroyed defaultAllocator;

}  // namespace

vMallocAllocator::~vMallocAllocator() = default;

void* vMallocAllocator::AllocateImpl(std::uint32_t size, std::uint32_t alignment) {
    return AlignedAllocate(size, std::max(alignment_, alignment));
}

void vMallocAllocator::FreeImpl(void* p) {
    AlignedFree(p);
}

vAllocator* DefaultAllocator() noexcept {
    return &defaultAllocator.allocator;
}

}  // namespace ZKL
