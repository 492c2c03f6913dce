#pragma once

// The private types of vBestFitAllocator.

#include "ZelREKernel/memory/vBestFitAllocator.h"
#include "memory/FreeIndex.h"

namespace ZKL {

// Carving an allocation out of a free block.
struct vBestFitAllocator::Commit {
    std::uint64_t offset;
    std::uint64_t page;
    std::uint64_t remainderOffset;  // where the left-over free part starts, all ones without one
    std::uint64_t size;
    std::uint64_t userData;
};

// A run of allocated blocks on its way into another page.
struct vBestFitAllocator::MoveRange {
    std::uint64_t offset;  // of the destination
    std::uint64_t page;
    std::uint64_t size;   // bytes of the run
    std::uint32_t first;  // its first entry in the source page's list
    std::uint32_t last;   // the entry behind its last block
};

struct vBestFitAllocator::Page {
    struct ByOffset {
        using Entry = Block;
        using Key = std::uint64_t;
        static Key KeyOf(const Block& block) { return block.offset; }
        static bool Less(Key a, Key b) { return a < b; }
        static std::uint64_t Rank(Key key) { return key; }
        static std::uint64_t Rank(const Block& block) { return block.offset; }
    };
    using List = SortedChunks<ByOffset>;

    std::uint64_t size = 0;
    std::uint64_t freeSize = 0;
    List blocks;
};

}  // namespace ZKL
