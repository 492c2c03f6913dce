#include "ZelREKernel/memory/vAlignedAllocatorWrapper.h"

namespace ZKL {

vAlignedAllocatorWrapper::vAlignedAllocatorWrapper(vAllocator* allocator,
                                                   std::uint32_t alignment) noexcept
    : allocator_(allocator), alignment_(alignment) {}

vAlignedAllocatorWrapper::~vAlignedAllocatorWrapper() = default;

void* vAlignedAllocatorWrapper::AllocateImpl(std::uint32_t size, std::uint32_t alignment) {
    return allocator_->AllocateImpl(size, alignment == 0 ? alignment_ : alignment & alignment_);
}

void vAlignedAllocatorWrapper::FreeImpl(void* p) {
    allocator_->FreeImpl(p);
}

}  // namespace ZKL
