#include "memory/FailingNew.h"

#include <cstdlib>
#include <new>

constinit thread_local bool test::failNew = false;

// Replaced for the whole program, so that the bookkeeping of the page allocator can run out of
// memory.
void* operator new(std::size_t size) {
    void* const p = test::failNew ? nullptr : std::malloc(size != 0 ? size : 1);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
}
