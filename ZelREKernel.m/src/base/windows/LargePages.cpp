#include "base/LargePages.h"

namespace ZKL {

// Large pages need a privilege there that programs do not have by default.
void PreferLargePages(void*, std::size_t) noexcept {}

}  // namespace ZKL
