#pragma once

// Hands out runs of consecutive 32-bit identifiers from 0 up to a fixed size, merges what comes
// back with its free neighbours, and can renumber all live identifiers towards zero. The caller
// uses the numbers as indices into arrays of its own; no memory stands behind them.
//
// One thread at a time. A failed allocation is InvalidId; nothing is logged. Ranges and requests of
// more than 2^31 identifiers are outside the contract. Below, n is the number of free ranges.

#include <cstdint>
#include <memory>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {
class vFreeRanges;
}

class ZELREKERNEL_EXPORT vCoalescentAllocator {
public:
    // The live identifiers from `from` on, up to the next entry, move down by `shift`.
    struct Remap {
        std::uint32_t from;
        std::uint32_t shift;
    };

    static constexpr std::uint32_t InvalidId = 0xFFFFFFFF;                 // no identifier
    static constexpr std::uint64_t kDefaultSize = std::uint64_t{1} << 30;  // identifiers

    // Of kDefaultSize.
    vCoalescentAllocator() : vCoalescentAllocator(kDefaultSize) {}
    // Manages the identifiers below `size`; 0 makes every allocation fail. Throws std::bad_alloc,
    // as do copies. A moved-from allocator is one of size 0.
    explicit vCoalescentAllocator(std::uint64_t size);
    ~vCoalescentAllocator();
    vCoalescentAllocator(const vCoalescentAllocator& other);
    vCoalescentAllocator& operator=(const vCoalescentAllocator& other);
    vCoalescentAllocator(vCoalescentAllocator&& other) noexcept;
    vCoalescentAllocator& operator=(vCoalescentAllocator&& other) noexcept;

    // The first of `count` identifiers, not 0, from the lowest free range that has them. O(log n).
    std::uint32_t Alloc(std::uint64_t count);
    // From the lowest free range that has `count` identifiers behind the first multiple of
    // `alignment` in it. The result is the unaligned beginning of that range: the caller rounds it
    // up, and frees the run, padding included, with the result and `count` + padding. An alignment
    // of 0 is reported as misuse. O(log n) and the ranges passed over that are long enough for
    // `count` alone.
    std::uint32_t AllocAligned(std::uint64_t count, std::uint64_t alignment);
    // From the free range that the last Free made if that has exactly `count` identifiers, else
    // from the shortest that has them, the lowest of several. O(log n); the first call sorts the
    // ranges by length, and one that finds no memory for that fails.
    std::uint32_t AllocBestFit(std::uint64_t count);
    // Takes back `count` identifiers from `id` on, all of them live, whichever calls gave them.
    // O(log n). Throws std::bad_alloc, with nothing changed, when there is no memory for a range
    // that has no free neighbour.
    void Free(std::uint32_t id, std::uint64_t count);

    // Renumbers the live identifiers to 0 and up, in order, leaving one free range. `remap`, sorted
    // and overwritten, tells the caller how: an identifier x moves to x - shift of the last entry
    // with `from` <= x, and stays without one. Throws std::bad_alloc with the allocator unchanged.
    // O(n).
    void Collapse(std::vector<Remap>& remap);
    // Takes everything back. Throws std::bad_alloc only where no range was ever free.
    void DropAll();

    // How many identifiers are managed.
    std::uint64_t GetSize() const noexcept { return size_; }
    // How many are handed out, padding of aligned requests included.
    std::uint64_t GetNumAllocs() const noexcept { return numAllocs_; }
    // How many ranges are free.
    std::uint32_t GetNumFreeBlocks() const noexcept;
    // The free range at `index` in rising order: [begin, end), or 0 and 0 past the last. O(log n).
    void GetFreeBlock(std::uint32_t index, std::uint32_t& begin, std::uint32_t& end) const noexcept;
    // The highest identifier that may be live; InvalidId when none is. O(log n).
    std::uint32_t GetMaxId() const noexcept;
    // 1 when any identifier below the highest live one is free, else 0.
    float GetFragmentation() const noexcept;

private:
    struct Layout;

    void SetOnlyRange(std::uint32_t begin);

    std::unique_ptr<ZKL::vFreeRanges> freeRanges_;  // null: there is none
    std::uint64_t size_ = 0;
    std::uint64_t numAllocs_ = 0;
    std::uint64_t hint_ = 0;  // index of the free range that AllocBestFit tries first
};
