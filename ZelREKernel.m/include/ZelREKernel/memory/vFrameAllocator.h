#pragma once

// An arena for data that lives for one frame: an allocation moves a pointer on, single frees do
// nothing, and Reset at the end of the frame makes everything reusable. The pages stay until
// resets have found the arena far too large for a number of frames.
//
// One thread at a time. Built while custom allocators are turned off (IsCustomAllocatorDisabled),
// an arena makes every allocation a heap block of its own for as long as it lives, so that a
// memory checker can follow them.

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "ZelREKernel/base/vAllocator.h"
#include "ZelREKernel/memory/vArena.h"

namespace ZKL {

namespace detail {

// A lock that does nothing, for what one thread owns.
struct ZELREKERNEL_EXPORT vNullMutex {
    // As std::mutex, without effect:
    void lock() noexcept {}
    void unlock() noexcept {}
    bool try_lock() noexcept { return true; }
};

// The frame allocator with a lock of type `Mutex`, one set of pages, and `kShrinkFrames` oversized
// frames tolerated before the pages go. The library holds the one form that vFrameAllocator uses.
template <typename Mutex, unsigned kBuffers, unsigned kShrinkFrames>
class ZELREKERNEL_EXPORT vFrameAllocatorImpl : public vAllocator {
    static_assert(kBuffers == 1, "only a single set of pages is supported");

public:
    static constexpr std::uint32_t kPageSize = 4U << 20;  // bytes
    static constexpr std::uint32_t kPageAlignment = 128;  // bytes

    vFrameAllocatorImpl() : vFrameAllocatorImpl(kPageSize, kPageAlignment) {}
    // Blocks are whole pages of `pageSize` bytes, not 0, at a multiple of `alignment`, a power of
    // two; they come from DefaultAllocator. Throws std::bad_alloc only while custom allocators are
    // turned off.
    vFrameAllocatorImpl(std::uint32_t pageSize, std::uint32_t alignment);
    // Frees everything.
    ~vFrameAllocatorImpl() override;
    // Leaves the source without memory but usable, with heap blocks of its own no longer.
    vFrameAllocatorImpl(vFrameAllocatorImpl&& other) noexcept;
    vFrameAllocatorImpl& operator=(vFrameAllocatorImpl&& other) noexcept;

    // `size` bytes at a multiple of `alignment`, a power of two (0: 8), valid until Reset. Null,
    // with nothing changed, when there is no memory.
    //
    // The request ends at least one byte before the end of its block; one that does not fit takes
    // the first spare block that has the pages for `size`, else a new one, and leaves the rest of
    // the old one unused until Reset. An alignment above that of the blocks does not count there:
    // ask for that much more bytes.
    void* Alloc(std::uint32_t size, std::uint32_t alignment) {
        const std::lock_guard<Mutex> guard(mutex_);
        const std::uintptr_t p = AlignUp(blockBegin_ + used_, alignment);
        if (kAddressSanitizer || p + size >= blockEnd_) {
            return AllocSlowly(size, alignment);
        }
        used_ = static_cast<std::uint32_t>(p + size - blockBegin_);
        return reinterpret_cast<void*>(p);
    }

    // Ends the frame: all that was allocated is void and its pages are spare. When this is the
    // frame after `kShrinkFrames` that owned more than 128 pages and used at most two thirds of
    // them, in a row or not, all pages are freed. Constant but for that.
    void Reset();

    // Alloc.
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override;
    // Does nothing.
    void FreeImpl(void* p) override;

protected:
    // With blocks from `backing`, which is borrowed and outlives the arena.
    vFrameAllocatorImpl(std::uint32_t pageSize, std::uint32_t alignment, vAllocator* backing);

private:
    struct Layout;
    struct PageRecord {
        vAllocator* allocator;
        unsigned char* pointer;
        std::uint32_t pageCount;
    };

    void* AllocSlowly(std::uint32_t size, std::uint32_t alignment);
    // A block of `pageCount` pages or more, and how many it has. Null without memory. Linear in the
    // spare blocks.
    unsigned char* AllocatePage(std::uint32_t& pageCount);
    unsigned char* AllocateNewPage(std::uint32_t pageCount);
    // Makes the record at `index` the last of those in use.
    void UpdateIndex(std::uint32_t index);
    bool IsOversized() const;
    void PoisonUsedPages();
    void FreeAllPages();
    // Takes the memory and the counters of `other`, which is left without.
    void Take(vFrameAllocatorImpl& other) noexcept;

    std::uintptr_t blockBegin_ = 0;
    std::uintptr_t blockEnd_ = 0;
    vAllocator* backing_;
    std::vector<PageRecord> pages_;
    std::uint32_t used_ = 0;  // bytes from blockBegin_ on
    std::uint32_t pageSize_;  // bytes
    std::uint32_t alignment_;
    std::uint32_t pagesInUse_ = 0;
    std::uint32_t pagesOwned_ = 0;
    std::uint32_t nextRecord_ = 0;  // of pages_: those before it are in use, the others spare
    std::uint32_t underusedFrames_ = 0;
    std::unique_ptr<vFallbackBlocks> fallbackBlocks_;
    [[no_unique_address]] Mutex mutex_;
};

extern template class vFrameAllocatorImpl<vNullMutex, 1, 32>;

}  // namespace detail

class ZELREKERNEL_EXPORT vFrameAllocator
    : public detail::vFrameAllocatorImpl<detail::vNullMutex, 1, 32> {
public:
    // Pages of 4 MiB, blocks aligned to 128 bytes.
    vFrameAllocator();
    vFrameAllocator(std::uint32_t pageSize, std::uint32_t alignment);
    ~vFrameAllocator() override;
    vFrameAllocator(vFrameAllocator&&) noexcept = default;
    vFrameAllocator& operator=(vFrameAllocator&&) noexcept = default;
};

}  // namespace ZKL
