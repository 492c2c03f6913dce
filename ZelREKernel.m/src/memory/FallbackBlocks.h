#pragma once

// Heap blocks that are freed together: what an arena is made of while custom allocators are turned
// off. One thread at a time.

#include <cstdint>
#include <memory>
#include <vector>

#include "ZelREKernel/memory/vArena.h"
#include "base/AlignedHeap.h"

namespace ZKL::detail {

class vFallbackBlocks {
public:
    // Null when custom allocators are turned on. Throws std::bad_alloc.
    static std::unique_ptr<vFallbackBlocks> MakeIfDisabled();

    vFallbackBlocks() = default;
    ~vFallbackBlocks() { FreeAll(); }
    vFallbackBlocks(const vFallbackBlocks&) = delete;
    vFallbackBlocks& operator=(const vFallbackBlocks&) = delete;

    // Null, with nothing allocated, when there is no memory.
    void* Allocate(std::uint32_t size, std::uint32_t alignment) noexcept;
    void FreeAll() noexcept;

private:
    std::vector<void*> blocks_;
};

}  // namespace ZKL::detail
