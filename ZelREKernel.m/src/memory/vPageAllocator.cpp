#include "ZelREKernel/memory/vPageAllocator.h"

namespace ZKL {

// Here and not inline, so that the table of the interface is made in this library alone.
vPageAllocator::vPageAllocator() noexcept = default;

}  // namespace ZKL
