#pragma once

// An arena over blocks of whole pages: an allocation moves a pointer on, single frees do nothing,
// and memory goes back in bulk, all of it by Reset or what came after a point in time by Rewind.
// For work with a clear end, such as loading.
//
// One thread at a time. Built while custom allocators are turned off (IsCustomAllocatorDisabled),
// an arena makes every allocation a heap block of its own for as long as it lives, so that a
// memory checker can follow them; Rewind then does nothing.

#include <cstdint>
#include <memory>

#include "ZelREKernel/base/vAllocator.h"
#include "ZelREKernel/memory/vArena.h"
#include "ZelREKernel/memory/vPageAllocator.h"

namespace ZKL {

// Where a linear allocator stood when GetRewindPoint was called.
struct vRewindPoint {
    std::uint64_t key = 0;
    std::uintptr_t blockBegin = 0;
    std::uintptr_t blockEnd = 0;
    std::uint64_t used = 0;
};

class ZELREKERNEL_EXPORT vLinearAllocator : public vAllocator {
public:
    // Throws std::bad_alloc only while custom allocators are turned off.
    vLinearAllocator();
    // Resets.
    ~vLinearAllocator() override;
    vLinearAllocator(const vLinearAllocator&) = delete;
    vLinearAllocator& operator=(const vLinearAllocator&) = delete;

    // Where pages come from; borrowed until the arena is destroyed or given another. Call it before
    // the first allocation, later only after a Reset. Blocks are recorded there under `firstKey`
    // and the keys after it, one more for each rewind point: they must be nobody else's. `reserved`
    // is kept and not used.
    void SetBackendAllocator(vPageAllocator& backend, std::uint64_t firstKey,
                             std::uint64_t reserved);

    // `size` bytes at a multiple of `alignment`, a power of two (0: 8), valid until a Reset or a
    // Rewind to an earlier point. Null, with nothing changed, when the backend has no page or is
    // missing; the latter is also reported as misuse.
    //
    // The request ends at least one byte before the end of its block; one that does not fit takes a
    // new block of as many pages as `size` needs and leaves the rest of the old one unused.
    // An alignment above that of the backend's blocks (128 for the default one) does not count
    // there: ask for that much more bytes. Nor can a backend that cuts sizes to 32 bits, as the
    // default one does, serve the last page below 4 GiB.
    void* Alloc(std::uint32_t size, std::uint32_t alignment) {
        const std::uintptr_t p = detail::AlignUp(blockBegin_ + used_, alignment);
        if (detail::kAddressSanitizer || p + size >= blockEnd_) {
            return AllocSlowly(size, alignment);
        }
        SetUsed(p, size);
        return reinterpret_cast<void*>(p);
    }

    // Puts the present state into `point` and begins a new key.
    void GetRewindPoint(vRewindPoint& point);
    // Gives back the blocks taken since `point`, which is a point of this arena later than its last
    // Reset, and goes on where it stood. Points taken after it are void. Blocks that are taken
    // after a Rewind belong to the time before its point: to return there again, take a new point.
    // A loop that rewinds to one point only holds on to the blocks of every round. Linear in the
    // points given back.
    void Rewind(const vRewindPoint& point);
    // Gives everything back. Linear in the points taken. Does nothing where there is no current
    // block: without an allocation, and at a point that was taken before the first one.
    void Reset();

    // Alloc.
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override;
    // Does nothing.
    void FreeImpl(void* p) override;

private:
    struct Layout;

    void* AllocSlowly(std::uint32_t size, std::uint32_t alignment);
    bool TakeBlock(std::uint32_t size);
    // In this order the addition does not wait for the address.
    void SetUsed(std::uintptr_t p, std::uint32_t size) { used_ = p + (size - blockBegin_); }
    void SetBlock(std::uintptr_t begin, std::uintptr_t end, std::uint64_t used);

    vPageAllocator* backend_ = nullptr;
    std::uint64_t currentKey_ = 0;  // of the blocks to come
    std::uint64_t firstKey_ = 0;
    std::uint64_t reserved_ = 0;
    std::uint64_t pageSize_ = 0;  // bytes
    std::uintptr_t blockBegin_ = 0;
    std::uintptr_t blockEnd_ = 0;
    std::uint64_t used_ = 0;  // bytes from blockBegin_ on
    std::unique_ptr<detail::vFallbackBlocks> fallbackBlocks_;
};

}  // namespace ZKL
