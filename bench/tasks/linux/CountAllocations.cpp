#include "tasks/CountAllocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

// The C library's own names for its heap, which lie below the ones that programs call.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<bool> g_counting = false;
std::atomic<std::uint64_t> g_count = 0;

void Count() {
    if (g_counting.load(std::memory_order_relaxed)) {
        g_count.fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace

void StartCountingAllocations() {
    g_count = 0;
    g_counting = true;
}

std::uint64_t StopCountingAllocations() {
    g_counting = false;
    return g_count;
}

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    Count();
    return __libc_malloc(size);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) {
    Count();
    *block = __libc_memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}
}
