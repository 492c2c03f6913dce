#include "base/AlignedHeap.h"

#include <MekHost/assertion/MekCheck.h>
#include <malloc.h>

namespace ZKL {

void* AlignedAllocate(std::size_t size, std::size_t alignment) noexcept {
    // The runtime library would end the process over such an alignment.
    if ((alignment & (alignment - 1)) != 0) {
        Check_TRUE_Failed__("alignment is a power of two", __FILE__, __LINE__);
        return nullptr;
    }
    const std::size_t atLeast = alignment < sizeof(void*) ? sizeof(void*) : alignment;
    return _aligned_malloc(size, atLeast);
}

void AlignedFree(void* p) noexcept {
    _aligned_free(p);
}

}  // namespace ZKL
