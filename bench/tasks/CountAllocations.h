#pragma once

#include <cstdint>

// How many blocks all threads have taken from the heap since the program began to count.
void StartCountingAllocations();
std::uint64_t StopCountingAllocations();
