#include "BufferPool.h"

#include <cstring>
#include <new>

#include "ZelREKernel/memory/vPageAllocator.h"

namespace frame {

BufferPool::~BufferPool() {
    for (std::uint64_t page = 0; page < pages_.size(); ++page) {
        ReleasePage(page, 0);
    }
}

BufferPool::Buffer BufferPool::Create(std::size_t size) {
    if (size > kLargestBuffer) {
        throw std::bad_alloc();
    }
    const auto buffer = static_cast<Buffer>(places_.size());
    places_.push_back(Allocator::kInvalidAlloc);
    // Whole multiples keep all offsets aligned.
    const std::size_t rounded = (size + kAlignment - 1) & ~(kAlignment - 1);
    const Address place = allocator_.Alloc(rounded, buffer, false, false);
    if (place == Allocator::kInvalidAlloc) {
        throw std::bad_alloc();
    }
    // The allocator does not hear of it when a page of a buffer's own finds no memory.
    if (place.page >= pages_.size() || pages_[place.page] == nullptr) {
        allocator_.Free(place, 1);
        throw std::bad_alloc();
    }
    places_[buffer] = place;
    return buffer;
}

void BufferPool::Destroy(Buffer buffer) {
    allocator_.Free(places_[buffer], 1);
    places_[buffer] = Allocator::kInvalidAlloc;
}

BufferPool::Figures BufferPool::Read() const {
    Figures figures;
    figures.pages = allocator_.GetNumActivePages();
    figures.fragmentation = allocator_.GetFragmentation();
    for (std::uint64_t page = 0; page < allocator_.GetNumPages(); ++page) {
        figures.pageBytes += allocator_.GetPageSize(page);
        // The last entry of a page's list marks its end.
        for (std::uint64_t i = 0; i + 1 < allocator_.GetNumBlocks(page); ++i) {
            figures.freeRanges += allocator_.GetBlock(page, i).userData == Allocator::kFree;
        }
    }
    figures.usedBytes = figures.pageBytes - allocator_.GetFreeSize();
    return figures;
}

bool BufferPool::AllocateLargePage(const Address& address, std::uint64_t size, std::uint64_t) {
    return AllocatePage(address.page, size);
}

bool BufferPool::AllocatePage(std::uint64_t page, std::uint64_t size) {
    ZKL::vPageAllocator* const source = ZKL::DefaultPageAllocator();
    const std::uint64_t unit = source->GetPageSize();
    try {
        if (page >= pages_.size()) {
            pages_.resize(page + 1);
        }
        const auto count = static_cast<std::uint32_t>((size + unit - 1) / unit);
        void* const memory = source->AllocatePages(firstOwner_ + page, count, 0);
        pages_[page] = static_cast<std::byte*>(memory);
        return memory != nullptr;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool BufferPool::ReleasePage(std::uint64_t page, std::uint64_t) {
    ZKL::DefaultPageAllocator()->FreePages(firstOwner_ + page);
    // A page of its own that found no memory may have no entry.
    if (page < pages_.size()) {
        pages_[page] = nullptr;
    }
    return true;
}

void BufferPool::MoveBlocks(const Address& to, const Address& from, std::uint64_t size,
                            const Allocator::Block* blocks, std::uint32_t count) {
    std::memmove(At(to), At(from), size);
    for (std::uint32_t i = 0; i < count; ++i) {
        places_[blocks[i].userData] = {to.offset + (blocks[i].offset - from.offset), to.page};
    }
}

}  // namespace frame
