#pragma once

// Puts addresses in the order of memory, which is what caches and page tables want of
// records that are going to be used one after the other.

#include <cstddef>

namespace ZKL {

// Sorts `count` addresses, highest first; within a cache line they keep their order. `scratch` has
// room for as many. O(count), a pass for every factor of 2,048 in the range that they span: a radix
// sort (Knuth, The Art of Computer Programming 3, 5.2.5).
void OrderByAddress(void** addresses, void** scratch, std::size_t count) noexcept;

}  // namespace ZKL
