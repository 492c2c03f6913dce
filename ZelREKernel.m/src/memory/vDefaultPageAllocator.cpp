#include "memory/vDefaultPageAllocator.h"

#include <mutex>

namespace ZKL {

void* vDefaultPageAllocator::AllocatePages(std::uint64_t owner, std::uint32_t count,
                                           std::uint64_t pageSize) {
    const auto given = static_cast<std::uint32_t>(pageSize);
    const std::uint32_t size = count * (given != 0 ? given : pageSize_);
    // Asked for outside the lock: the backing allocator may be slow. When the insertion throws, the
    // block gives itself back.
    Block block(backing_->AllocateImpl(size, pageAlignment_), FreeThrough{backing_});
    void* const memory = block.get();
    const std::lock_guard guard(lock_);
    blocks_.emplace(owner, std::move(block));
    return memory;
}

void vDefaultPageAllocator::FreePages(std::uint64_t owner) {
    const std::lock_guard guard(lock_);
    blocks_.erase(owner);
}

}  // namespace ZKL
