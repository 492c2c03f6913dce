#include "json/Heap.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>

// The C library's own entry points, which stay reachable when its malloc is replaced.
// NOLINTBEGIN(bugprone-reserved-identifier): these are its names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// Of the one thread that benchmarks documents; unmetered, the cost is this flag.
bool s_metered = false;
std::ptrdiff_t s_held = 0;
std::ptrdiff_t s_peak = 0;

void* Took(void* block) {
    if (s_metered) {
        s_held += static_cast<std::ptrdiff_t>(malloc_usable_size(block));
        s_peak = std::max(s_peak, s_held);
    }
    return block;
}

void Gives(void* block) {
    if (s_metered) {
        s_held -= static_cast<std::ptrdiff_t>(malloc_usable_size(block));
    }
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's are reserved
// Visible, or the libraries would keep to the C library's.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) {
    return Took(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return Took(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
    Gives(block);
    return Took(__libc_realloc(block, size));
}
void* memalign(std::size_t alignment, std::size_t size) {
    return Took(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return Took(__libc_memalign(alignment, size));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    *block = Took(__libc_memalign(alignment, size));
    return *block != nullptr ? 0 : ENOMEM;
}
void free(void* block) {
    Gives(block);
    __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace bench {

void KeepFreedMemory() {
    // No block goes to the system by itself, and the end of the heap is never given back.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
}

void _StartHeapMeter() {
    s_held = s_peak = 0;
    s_metered = true;
}

std::size_t _StopHeapMeter() {
    s_metered = false;
    return static_cast<std::size_t>(s_peak);
}

}  // namespace bench
