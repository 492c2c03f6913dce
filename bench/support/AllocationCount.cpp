#include "support/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t s_allocations = 0;

}  // namespace

std::size_t bench::AllocationsOfThisThread() {
    return s_allocations;
}

void* operator new(std::size_t size) {
    ++s_allocations;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
