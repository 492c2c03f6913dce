#pragma once

// What the two arenas (vLinearAllocator, vFrameAllocator) have in common.

#include <cstdint>

namespace ZKL::detail {

// Under the address sanitizer an arena poisons what it has not handed out, and every allocation
// goes the long way through the library, which takes the poison off. Build a program and this
// library both with the sanitizer or both without.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kAddressSanitizer = true;
#else
inline constexpr bool kAddressSanitizer = false;
#endif
#else
inline constexpr bool kAddressSanitizer = false;
#endif

// The alignment of a request that leaves it open.
inline constexpr std::uint32_t kOpenAlignment = 8;

// The first multiple of `alignment`, a power of two or 0 for any, at or after `address`.
inline std::uintptr_t AlignUp(std::uintptr_t address, std::uint32_t alignment) noexcept {
    const std::uintptr_t mask = std::uintptr_t{alignment != 0 ? alignment : kOpenAlignment} - 1;
    return (address + mask) & ~mask;
}

// The heap blocks of an arena while custom allocators are turned off.
class vFallbackBlocks;

}  // namespace ZKL::detail
