#pragma once

// Buffers as a renderer has them on a graphics device: large pages, and places in them that the
// best-fit allocator chooses. The pages here are the kernel's own.
//
// One thread at a time; Data from any thread while nothing changes the pool.

#include <cstddef>
#include <cstdint>

#include "KernelAllocator.h"
#include "ZelREKernel/memory/vBestFitAllocator.h"

namespace frame {

class BufferPool final : private ZKL::vBestFitAllocator::vMemoryManager {
public:
    using Buffer = std::uint32_t;

    struct Figures {
        std::uint64_t usedBytes = 0;
        std::uint64_t pageBytes = 0;
        std::uint64_t pages = 0;
        std::uint64_t freeRanges = 0;
        float fragmentation = 0.0f;  // 0: all free space is one range
    };

    // Takes its pages from the default page allocator under `firstOwner` and the keys after it.
    explicit BufferPool(std::uint64_t firstOwner) : firstOwner_(firstOwner) {}
    // Gives the pages back, and with them all buffers.
    ~BufferPool();
    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;

    // `size` bytes, not 0, at a multiple of 128. Throws std::bad_alloc.
    Buffer Create(std::size_t size);
    void Destroy(Buffer buffer);
    // Closes the gaps that destroyed buffers left; what Data said before is void.
    void Defragment() { allocator_.Defragment(); }

    void* Data(Buffer buffer) const { return At(places_[buffer]); }
    Figures Read() const;

private:
    using Allocator = ZKL::vBestFitAllocator;
    using Address = Allocator::Address;

    static constexpr std::uint64_t kPageSize = std::uint64_t{16} << 20;
    static constexpr std::size_t kAlignment = 128;
    // What the page allocator can serve as one block.
    static constexpr std::size_t kLargestBuffer = 0xFFC00000;

    bool AllocateLargePage(const Address& address, std::uint64_t size, std::uint64_t tag) override;
    bool AllocatePage(std::uint64_t page, std::uint64_t size) override;
    bool ReleasePage(std::uint64_t page, std::uint64_t size) override;
    bool BeginDefragment(std::uint64_t) override { return true; }
    void MoveBlocks(const Address& to, const Address& from, std::uint64_t size,
                    const Allocator::Block* blocks, std::uint32_t count) override;
    void EndDefragment() override {}

    std::byte* At(const Address& place) const { return pages_[place.page] + place.offset; }

    const std::uint64_t firstOwner_;
    Vector<std::byte*> pages_;  // null: not backed
    Vector<Address> places_;    // of the buffers, whose numbers are the allocator's tags
    Allocator allocator_{kPageSize, this};
};

}  // namespace frame
