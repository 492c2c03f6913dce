#pragma once

// Tells the address sanitizer which memory of an arena may be touched; nothing without it.

#include <cstddef>
#include <cstdint>

#include "ZelREKernel/memory/vArena.h"

#if defined(__has_include)
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#endif
#endif

#if !defined(ASAN_POISON_MEMORY_REGION)
#define ASAN_POISON_MEMORY_REGION(begin, size) (static_cast<void>(begin), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(begin, size) (static_cast<void>(begin), static_cast<void>(size))
#endif

namespace ZKL::detail {

// From `begin` up to `end`; nothing where they are out of order.
inline void Poison(std::uintptr_t begin, std::uintptr_t end) noexcept {
    if (kAddressSanitizer && begin < end) {
        ASAN_POISON_MEMORY_REGION(reinterpret_cast<void*>(begin), end - begin);
    }
}
inline void Unpoison(std::uintptr_t begin, std::uintptr_t end) noexcept {
    if (kAddressSanitizer && begin < end) {
        ASAN_UNPOISON_MEMORY_REGION(reinterpret_cast<void*>(begin), end - begin);
    }
}

}  // namespace ZKL::detail
