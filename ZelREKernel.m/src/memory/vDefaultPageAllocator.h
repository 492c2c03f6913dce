#pragma once

// The page allocator behind DefaultPageAllocator: every block comes straight from a backing
// allocator and is remembered under its owner's key. Any thread may call.

#include <memory>
#include <unordered_map>

#include "ZelREKernel/base/vAllocator.h"
#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/memory/vPageAllocator.h"

namespace ZKL {

class vDefaultPageAllocator final : public vPageAllocator {
public:
    static constexpr std::uint32_t kPageSize = 4U << 20;
    static constexpr std::uint32_t kPageAlignment = 128;

    // Borrows `backing`, which must outlive this object.
    explicit vDefaultPageAllocator(vAllocator* backing) noexcept : backing_(backing) {}

    void* AllocatePages(std::uint64_t owner, std::uint32_t count, std::uint64_t pageSize) override;
    void FreePages(std::uint64_t owner) override;
    std::uint32_t GetPageSize() override { return pageSize_; }

private:
    struct FreeThrough {
        vAllocator* allocator;
        void operator()(void* p) const { allocator->FreeImpl(p); }
    };
    using Block = std::unique_ptr<void, FreeThrough>;

    vSlimLock lock_;
    vAllocator* backing_;
    std::unordered_multimap<std::uint64_t, Block> blocks_;
    std::uint32_t pageSize_ = kPageSize;
    std::uint32_t pageAlignment_ = kPageAlignment;
};

}  // namespace ZKL
