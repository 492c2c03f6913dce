#pragma once

// The C library has one generator of random numbers for the process on Linux, and one for each
// thread on Windows.

#include <cstdint>

namespace ZKL {

// Calls `seed` for the generator of this thread, unless that was done before. `number` says how
// many generators of the process were seeded earlier.
void SeedOnce(void (*seed)(std::uint32_t number)) noexcept;

}  // namespace ZKL
