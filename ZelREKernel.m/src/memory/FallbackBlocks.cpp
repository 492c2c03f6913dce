#include "memory/FallbackBlocks.h"

#include <new>

#include "ZelREKernel/memory/vAllocatorSwitch.h"

namespace ZKL::detail {

std::unique_ptr<vFallbackBlocks> vFallbackBlocks::MakeIfDisabled() {
    return IsCustomAllocatorDisabled() ? std::make_unique<vFallbackBlocks>() : nullptr;
}

void* vFallbackBlocks::Allocate(std::uint32_t size, std::uint32_t alignment) noexcept {
    void* const block = AlignedAllocate(size, alignment);
    if (block == nullptr) {
        return nullptr;
    }
    try {
        blocks_.push_back(block);
    } catch (const std::bad_alloc&) {
        AlignedFree(block);
        return nullptr;
    }
    return block;
}

void vFallbackBlocks::FreeAll() noexcept {
    for (void* const block : blocks_) {
        AlignedFree(block);
    }
    std::vector<void*>().swap(blocks_);
}

}  // namespace ZKL::detail
