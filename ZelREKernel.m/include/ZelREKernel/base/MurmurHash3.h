#pragma once

// Two hash functions by Austin Appleby (SMHasher, public domain) for keying name tables. They are
// fast and spread well, but are no defence against an adversary. Pure functions: any thread.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

// MurmurHash3, the 32-bit variant for x86, of `length` bytes; `data` may be null when `length` is 0
// and needs no alignment. O(length).
ZELREKERNEL_EXPORT std::uint32_t MurmurHash3_x86_32(const void* data, std::uint32_t length,
                                                    std::uint32_t seed) noexcept;

// MurmurHash64A of the MurmurHash2 family, in spite of the name, which callers rely on. The same
// rules.
ZELREKERNEL_EXPORT std::uint64_t MurmurHash3_x86_64(const void* data, std::uint32_t length,
                                                    std::uint32_t seed) noexcept;
