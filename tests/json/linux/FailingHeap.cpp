// The heap under the default allocator: this program's posix_memalign comes before the C library's
// for the kernel library as well.

#include <dlfcn.h>

#include <cerrno>
#include <cstddef>

#include "json/FailingNew.h"

extern "C" __attribute__((visibility("default"))) int posix_memalign(void** block,
                                                                     std::size_t alignment,
                                                                     std::size_t size) noexcept {
    using Function = int (*)(void**, std::size_t, std::size_t);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "posix_memalign"));
    return test::MayAllocate() ? next(block, alignment, size) : ENOMEM;
}
