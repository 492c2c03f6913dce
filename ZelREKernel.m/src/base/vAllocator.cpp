#include "ZelREKernel/base/vAllocator.h"

namespace ZKL {

vAllocator::~vAllocator() = default;

}  // namespace ZKL
