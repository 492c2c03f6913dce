#pragma once

// The memory manager of the best-fit allocator on a Vulkan device: a page is one device memory with
// one buffer over all of it for the copies, and every allocation is a buffer bound to its address.
// A buffer cannot be bound a second time, so a moved one is made anew. One thread.

#include <map>

#include "Gpu.h"
#include "ZelREKernel/memory/vBestFitAllocator.h"

class GpuPages final : public ZKL::vBestFitAllocator::vMemoryManager {
public:
    using Address = ZKL::vBestFitAllocator::Address;
    using Block = ZKL::vBestFitAllocator::Block;

    struct Buffer {
        VkBuffer buffer = VK_NULL_HANDLE;
        VkDeviceSize size = 0;
        Address address{};
    };

    GpuPages(Gpu& gpu, VkDeviceSize pageSize);
    ~GpuPages();
    GpuPages(const GpuPages&) = delete;
    GpuPages& operator=(const GpuPages&) = delete;

    // What addresses must be multiples of. The allocator knows no alignment: where every size is a
    // multiple, every address is.
    VkDeviceSize Alignment() const { return alignment_; }
    // Makes the buffer of an allocation; its tag is its name from here on.
    void Place(std::uint64_t tag, VkDeviceSize size, Address address);
    void Remove(std::uint64_t tag);

    bool AllocateLargePage(const Address& address, std::uint64_t size,
                           std::uint64_t userData) override;
    bool AllocatePage(std::uint64_t page, std::uint64_t size) override;
    bool ReleasePage(std::uint64_t page, std::uint64_t size) override;
    bool BeginDefragment(std::uint64_t freeBlockCount) override;
    void MoveBlocks(const Address& to, const Address& from, std::uint64_t size, const Block* blocks,
                    std::uint32_t count) override;
    void EndDefragment() override;

    std::map<std::uint64_t, Buffer> buffers;  // by tag
    std::uint64_t movedBlocks = 0;
    std::uint64_t movedBytes = 0;

private:
    struct Page {
        VkDeviceMemory memory;
        VkBuffer whole;
    };

    Gpu& gpu_;
    VkDeviceSize alignment_ = 1;
    Page scratch_{};  // as large as a page, for runs that overlap their destination
    std::map<std::uint64_t, Page> pages_;
};
