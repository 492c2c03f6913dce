#include "tasks/CountAllocations.h"

#include <cstdio>

// No name lies below the ones that programs and libraries call for memory, so nothing is counted.
void StartCountingAllocations() {
    static const bool told = std::puts("allocations are not counted on this system") >= 0;
    static_cast<void>(told);
}

std::uint64_t StopCountingAllocations() {
    return 0;
}
