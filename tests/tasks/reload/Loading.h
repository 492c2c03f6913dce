#pragma once

// What a program can see of the libraries in it; one source for each system.

#include <cstddef>

namespace test {

// Null, with a failure of the test, when it cannot be loaded.
void* LoadUser();
void* FindFunction(void* library, const char* name);
bool Unload(void* library);
bool IsKernelLoaded();

// What of the process grows if something stays.
struct Holdings {
    std::size_t threads = 0;
    std::size_t handles = 0;    // or descriptors
    std::size_t heapBytes = 0;  // 0 under a sanitizer, which has a heap of its own
};
Holdings CountHoldings();

// How often to load, and what the system itself may keep in the heap for each time.
extern const int kRounds;
extern const std::size_t kKeptPerRound;

}  // namespace test
