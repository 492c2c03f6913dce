#pragma once

// The default page allocator, with a count of what was taken through it. One thread at a time.

#include <cstdint>

#include "ZelREKernel/memory/vPageAllocator.h"

namespace frame {

class PageMeter final : public ZKL::vPageAllocator {
public:
    void* AllocatePages(std::uint64_t owner, std::uint32_t count, std::uint64_t pageSize) override {
        void* const pages = source_->AllocatePages(owner, count, pageSize);
        pages_ += pages != nullptr ? count : 0;
        return pages;
    }
    void FreePages(std::uint64_t owner) override { source_->FreePages(owner); }
    std::uint32_t GetPageSize() override { return source_->GetPageSize(); }

    // Of all pages so far, given back or not.
    std::uint64_t Bytes() { return pages_ * GetPageSize(); }

private:
    ZKL::vPageAllocator* const source_ = ZKL::DefaultPageAllocator();
    std::uint64_t pages_ = 0;
};

}  // namespace frame
