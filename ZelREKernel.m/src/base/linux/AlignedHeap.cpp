#include "base/AlignedHeap.h"

#include <cstdlib>

#include <MekHost/assertion/MekCheck.h>

namespace ZKL {

void* AlignedAllocate(std::size_t size, std::size_t alignment) noexcept {
    if ((alignment & (alignment - 1)) != 0) {
        Check_TRUE_Failed__("alignment is a power of two", __FILE__, __LINE__);
        return nullptr;
    }
    // The heap knows no alignment below that of a pointer and may answer a size of 0 with null.
    const std::size_t atLeast = alignment < sizeof(void*) ? sizeof(void*) : alignment;
    void* block = nullptr;
    return posix_memalign(&block, atLeast, size != 0 ? size : 1) == 0 ? block : nullptr;
}

void AlignedFree(void* p) noexcept {
    std::free(p);
}

}  // namespace ZKL
