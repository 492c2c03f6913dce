#pragma once

// A source of whole pages, grouped under the key of their owner so that an owner gives everything
// back at once. The arenas of this library draw their memory from one.
//
// The default page allocator may be used from any thread. Creating it (the first call of
// DefaultPageAllocator) and destroying it are start-up and shut-down matters: one thread, no others
// at work on it.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vPageAllocator {
public:
    // One contiguous block of `count` pages of `pageSize` bytes; a page size whose low 32 bits are
    // 0 means GetPageSize(). The block belongs to `owner`, any number that the caller chooses,
    // until FreePages. Null when there is no memory. May throw std::bad_alloc from its bookkeeping,
    // with nothing allocated.
    //
    // The default page allocator asks for `count` times the page size cut to 32 bits.
    virtual void* AllocatePages(std::uint64_t owner, std::uint32_t count,
                                std::uint64_t pageSize) = 0;
    // Gives back every block of `owner`, in time linear in their number; without one, nothing.
    virtual void FreePages(std::uint64_t owner) = 0;
    // The default page size in bytes.
    virtual std::uint32_t GetPageSize() = 0;

protected:
    vPageAllocator() noexcept;
    vPageAllocator(const vPageAllocator&) noexcept = default;
    vPageAllocator& operator=(const vPageAllocator&) noexcept = default;
    ~vPageAllocator() = default;
};

// The process-wide page allocator: pages of 4 MiB, blocks aligned to 128 bytes, from
// DefaultAllocator. The first call creates it and may throw std::bad_alloc.
ZELREKERNEL_EXPORT vPageAllocator* DefaultPageAllocator();

// Destroys the process-wide page allocator and frees what its owners still hold. A later
// DefaultPageAllocator makes a new one. Without one, nothing happens.
ZELREKERNEL_EXPORT void DestroyAllocator();

}  // namespace ZKL
