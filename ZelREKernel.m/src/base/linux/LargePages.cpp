#include "base/LargePages.h"

#include <sys/mman.h>

namespace ZKL {

void PreferLargePages(void* memory, std::size_t size) noexcept {
    // Refused where the kernel has no such pages or the memory does not begin on a page.
    static_cast<void>(madvise(memory, size, MADV_HUGEPAGE));
}

}  // namespace ZKL
