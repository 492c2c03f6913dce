#pragma once

// The operating system's aligned heap. Any thread may call.

#include <cstddef>

namespace ZKL {

// A block of at least `size` bytes (0 included) at a multiple of `alignment`, a power of two or 0
// for any. Null when there is no memory, and, after a report as misuse, for another alignment.
void* AlignedAllocate(std::size_t size, std::size_t alignment) noexcept;
// Gives such a block back; null is ignored.
void AlignedFree(void* p) noexcept;

}  // namespace ZKL
