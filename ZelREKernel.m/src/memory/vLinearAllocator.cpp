#include "ZelREKernel/memory/vLinearAllocator.h"

#include <MekHost/assertion/MekCheck.h>

#include <algorithm>
#include <cstddef>
#include <new>

#include "core/FieldOrder.h"
#include "memory/FallbackBlocks.h"
#include "memory/Poison.h"

namespace ZKL {

struct vLinearAllocator::Layout {
    ZKL_FIELD_ORDER_BEGIN
    static_assert(offsetof(vLinearAllocator, backend_) == 8);
    static_assert(offsetof(vLinearAllocator, currentKey_) == 16);
    static_assert(offsetof(vLinearAllocator, firstKey_) == 24);
    static_assert(offsetof(vLinearAllocator, reserved_) == 32);
    static_assert(offsetof(vLinearAllocator, pageSize_) == 40);
    static_assert(offsetof(vLinearAllocator, blockBegin_) == 48);
    static_assert(offsetof(vLinearAllocator, blockEnd_) == 56);
    static_assert(offsetof(vLinearAllocator, used_) == 64);
    static_assert(offsetof(vLinearAllocator, fallbackBlocks_) == 72);
    static_assert(sizeof(vLinearAllocator) == 80);
    ZKL_FIELD_ORDER_END
};

vLinearAllocator::vLinearAllocator() : fallbackBlocks_(detail::vFallbackBlocks::MakeIfDisabled()) {}

vLinearAllocator::~vLinearAllocator() {
    Reset();
}

void vLinearAllocator::SetBackendAllocator(vPageAllocator& backend, std::uint64_t firstKey,
                                           std::uint64_t reserved) {
    backend_ = &backend;
    pageSize_ = backend.GetPageSize();
    reserved_ = reserved;
    currentKey_ = firstKey;
    firstKey_ = firstKey;
}

void* vLinearAllocator::AllocSlowly(std::uint32_t size, std::uint32_t alignment) {
    if (fallbackBlocks_ != nullptr) {
        return fallbackBlocks_->Allocate(size, alignment);
    }
    std::uintptr_t p = detail::AlignUp(blockBegin_ + used_, alignment);
    if (p + size >= blockEnd_) {
        if (!TakeBlock(size)) {
            return nullptr;
        }
        p = detail::AlignUp(blockBegin_, alignment);
    }
    SetUsed(p, size);
    detail::Unpoison(p, std::min(p + size, blockEnd_));
    return reinterpret_cast<void*>(p);
}

// Makes a new block of `size` bytes, rounded up to pages, the current one.
bool vLinearAllocator::TakeBlock(std::uint32_t size) {
    if (pageSize_ == 0) {
        Check_TRUE_Failed__("the backend allocator is set and has pages", __FILE__, __LINE__);
        return false;
    }
    const std::uint64_t pages = (size + pageSize_ - 1) / pageSize_;
    void* block = nullptr;
    try {
        block = backend_->AllocatePages(currentKey_, static_cast<std::uint32_t>(pages), 0);
    } catch (const std::bad_alloc&) {
        return false;  // the backend could not keep its record; to our caller it is out of memory
    }
    if (block == nullptr) {
        return false;
    }
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    SetBlock(begin, begin + pages * pageSize_, 0);
    return true;
}

// Moves on to another block. The one that is left goes back to its backend sooner or later, when
// nobody knows its bounds any more: the poison comes off now, that between allocations as well.
void vLinearAllocator::SetBlock(std::uintptr_t begin, std::uintptr_t end, std::uint64_t used) {
    detail::Unpoison(blockBegin_, blockEnd_);
    blockBegin_ = begin;
    blockEnd_ = end;
    used_ = used;
    detail::Poison(blockBegin_ + used_, blockEnd_);
}

void vLinearAllocator::GetRewindPoint(vRewindPoint& point) {
    point = {currentKey_, blockBegin_, blockEnd_, used_};
    ++currentKey_;
}

void vLinearAllocator::Rewind(const vRewindPoint& point) {
    if (fallbackBlocks_ != nullptr || backend_ == nullptr) {
        return;
    }
    SetBlock(point.blockBegin, point.blockEnd, point.used);
    for (std::uint64_t key = currentKey_; key > point.key; --key) {
        backend_->FreePages(key);
    }
    currentKey_ = point.key;
}

void vLinearAllocator::Reset() {
    if (fallbackBlocks_ != nullptr) {
        fallbackBlocks_->FreeAll();
        return;
    }
    if (blockBegin_ == 0) {
        return;
    }
    SetBlock(0, 0, 0);
    for (std::uint64_t key = firstKey_; key < currentKey_; ++key) {
        backend_->FreePages(key);
    }
    backend_->FreePages(currentKey_);
    currentKey_ = firstKey_;
}

void* vLinearAllocator::AllocateImpl(std::uint32_t size, std::uint32_t alignment) {
    return Alloc(size, alignment);
}

void vLinearAllocator::FreeImpl(void*) {}

}  // namespace ZKL
