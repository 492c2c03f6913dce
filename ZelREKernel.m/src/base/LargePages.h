#pragma once

// Records in the millions that are used out of order cost a page walk each; large pages spare it.

#include <cstddef>

namespace ZKL {

// The size, and the best alignment, of memory that can lie on one large page.
inline constexpr std::size_t kLargePageSize = std::size_t{2} << 20;

// Asks the system to put this memory, which nobody has touched yet, on large pages where it can. A
// wish: nothing but speed depends on it. Any thread.
void PreferLargePages(void* memory, std::size_t size) noexcept;

}  // namespace ZKL
