#include "ZelREKernel/memory/vFrameAllocator.h"

#include <MekHost/assertion/MekCheck.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "core/FieldOrder.h"
#include "memory/FallbackBlocks.h"
#include "memory/Poison.h"

namespace ZKL {
namespace detail {
namespace {

std::uintptr_t Address(const void* p) {
    return reinterpret_cast<std::uintptr_t>(p);
}

}  // namespace

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
struct vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::Layout {
    using Impl = vFrameAllocatorImpl;
    ZKL_FIELD_ORDER_BEGIN
    static_assert(offsetof(Impl, blockBegin_) == 8);
    static_assert(offsetof(Impl, blockEnd_) == 16);
    static_assert(offsetof(Impl, backing_) == 24);
    static_assert(offsetof(Impl, pages_) == 32);
    static_assert(offsetof(Impl, used_) == 56);
    static_assert(offsetof(Impl, pageSize_) == 60);
    static_assert(offsetof(Impl, alignment_) == 64);
    static_assert(offsetof(Impl, pagesInUse_) == 68);
    static_assert(offsetof(Impl, pagesOwned_) == 72);
    static_assert(offsetof(Impl, nextRecord_) == 76);
    static_assert(offsetof(Impl, underusedFrames_) == 80);
    static_assert(offsetof(Impl, fallbackBlocks_) == 88);
    ZKL_FIELD_ORDER_END
};

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::vFrameAllocatorImpl(std::uint32_t pageSize,
                                                                         std::uint32_t alignment)
    : vFrameAllocatorImpl(pageSize, alignment, DefaultAllocator()) {}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::vFrameAllocatorImpl(std::uint32_t pageSize,
                                                                         std::uint32_t alignment,
                                                                         vAllocator* backing)
    : backing_(backing),
      pageSize_(pageSize),
      alignment_(alignment),
      fallbackBlocks_(vFallbackBlocks::MakeIfDisabled()) {}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::~vFrameAllocatorImpl() {
    fallbackBlocks_.reset();
    FreeAllPages();
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::vFrameAllocatorImpl(
    vFrameAllocatorImpl&& other) noexcept
    : vAllocator(other) {
    Take(other);
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
auto vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::operator=(
    vFrameAllocatorImpl&& other) noexcept -> vFrameAllocatorImpl& {
    if (this != &other) {
        FreeAllPages();
        Take(other);
    }
    return *this;
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::Take(
    vFrameAllocatorImpl& other) noexcept {
    blockBegin_ = std::exchange(other.blockBegin_, 0);
    blockEnd_ = std::exchange(other.blockEnd_, 0);
    backing_ = other.backing_;
    pages_ = std::exchange(other.pages_, {});
    used_ = std::exchange(other.used_, 0);
    pageSize_ = other.pageSize_;
    alignment_ = other.alignment_;
    pagesInUse_ = std::exchange(other.pagesInUse_, 0);
    pagesOwned_ = std::exchange(other.pagesOwned_, 0);
    nextRecord_ = std::exchange(other.nextRecord_, 0);
    underusedFrames_ = std::exchange(other.underusedFrames_, 0);
    fallbackBlocks_ = std::move(other.fallbackBlocks_);
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void* vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::AllocSlowly(std::uint32_t size,
                                                                       std::uint32_t alignment) {
    if (fallbackBlocks_ != nullptr) {
        return fallbackBlocks_->Allocate(size, alignment);
    }
    std::uintptr_t p = AlignUp(blockBegin_ + used_, alignment);
    if (p + size >= blockEnd_) {
        if (pageSize_ == 0) {
            Check_TRUE_Failed__("the page size is not 0", __FILE__, __LINE__);
            return nullptr;
        }
        std::uint32_t count = size / pageSize_ + (size % pageSize_ != 0 ? 1 : 0);
        unsigned char* const block = AllocatePage(count);
        if (block == nullptr) {
            return nullptr;
        }
        blockBegin_ = Address(block);
        blockEnd_ = blockBegin_ + std::uint64_t{count} * pageSize_;
        p = AlignUp(blockBegin_, alignment);
    }
    used_ = static_cast<std::uint32_t>(p + size - blockBegin_);
    Unpoison(p, std::min(p + size, blockEnd_));
    return reinterpret_cast<void*>(p);
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
unsigned char* vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::AllocatePage(
    std::uint32_t& pageCount) {
    const auto spare = std::find_if(
        pages_.begin() + nextRecord_, pages_.end(),
        [pageCount](const PageRecord& record) { return record.pageCount >= pageCount; });
    if (spare == pages_.end()) {
        return AllocateNewPage(pageCount);
    }
    pageCount = spare->pageCount;
    unsigned char* const pointer = spare->pointer;
    UpdateIndex(static_cast<std::uint32_t>(spare - pages_.begin()));
    pagesInUse_ += pageCount;
    return pointer;
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
unsigned char* vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::AllocateNewPage(
    std::uint32_t pageCount) {
    const std::uint64_t size = std::uint64_t{pageSize_} * pageCount;
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        return nullptr;  // more than an allocator can be asked for
    }
    try {
        pages_.push_back({backing_, nullptr, pageCount});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    void* const block = backing_->AllocateImpl(static_cast<std::uint32_t>(size), alignment_);
    if (block == nullptr) {
        pages_.pop_back();
        return nullptr;
    }
    auto* const pointer = static_cast<unsigned char*>(block);
    pages_.back().pointer = pointer;
    Poison(Address(pointer), Address(pointer) + size);
    UpdateIndex(static_cast<std::uint32_t>(pages_.size() - 1));
    pagesOwned_ += pageCount;
    pagesInUse_ += pageCount;
    return pointer;
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::UpdateIndex(std::uint32_t index) {
    if (nextRecord_ < index) {
        // All records have one allocator.
        std::swap(pages_[index].pointer, pages_[nextRecord_].pointer);
        std::swap(pages_[index].pageCount, pages_[nextRecord_].pageCount);
    }
    ++nextRecord_;
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
bool vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::IsOversized() const {
    return pagesOwned_ > 128 && pagesInUse_ <= 2 * pagesOwned_ / 3;
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::Reset() {
    const std::lock_guard<Mutex> guard(mutex_);
    if (fallbackBlocks_ != nullptr) {
        fallbackBlocks_->FreeAll();
        return;
    }
    // Frames count whether or not they come in a row.
    if (IsOversized() && underusedFrames_++ >= kShrinkFrames) {
        FreeAllPages();
        pagesOwned_ = 0;
        underusedFrames_ = 0;
    }
    PoisonUsedPages();
    pagesInUse_ = 0;
    nextRecord_ = 0;
    used_ = 0;
    blockBegin_ = 0;
    blockEnd_ = 0;
}

// Spare pages are poisoned already.
template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::PoisonUsedPages() {
    if (!kAddressSanitizer) {
        return;
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(nextRecord_, pages_.size()); ++i) {
        const std::uintptr_t begin = Address(pages_[i].pointer);
        Poison(begin, begin + std::uint64_t{pages_[i].pageCount} * pageSize_);
    }
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::FreeAllPages() {
    for (const PageRecord& record : pages_) {
        const std::uintptr_t begin = Address(record.pointer);
        Unpoison(begin, begin + std::uint64_t{record.pageCount} * pageSize_);
        record.allocator->FreeImpl(record.pointer);
    }
    pages_.clear();
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void* vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::AllocateImpl(std::uint32_t size,
                                                                        std::uint32_t alignment) {
    return Alloc(size, alignment);
}

template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
void vFrameAllocatorImpl<Mutex, kBuffers, kShrinkFrames>::FreeImpl(void*) {}

template class vFrameAllocatorImpl<vNullMutex, 1, 32>;

}  // namespace detail

vFrameAllocator::vFrameAllocator() = default;

vFrameAllocator::vFrameAllocator(std::uint32_t pageSize, std::uint32_t alignment)
    : vFrameAllocatorImpl(pageSize, alignment) {}

vFrameAllocator::~vFrameAllocator() = default;

}  // namespace ZKL
