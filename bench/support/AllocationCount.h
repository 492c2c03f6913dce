#pragma once

// Counts heap allocations. A benchmark program that links AllocationCount.cpp has it replace the
// global operator new.

#include <cstddef>

namespace bench {

// How often the calling thread has allocated since it started.
std::size_t AllocationsOfThisThread();

}  // namespace bench
