#pragma once

// A memory copy that uses several processor cores where that pays: one core cannot use up what the
// memory can give.
//
// Any thread may copy, a task of the arena included.

#include <cstddef>
#include <cstring>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

namespace vTaskDetail {

// Copies below this are left to one core, and it is the grain of larger ones.
inline constexpr std::size_t kParallelCopyBytes = 0x800000;

// ParallelMemCpy for `n` of that size and more; without memory for tasks one core copies all.
ZELREKERNEL_EXPORT void CopyInParallel(void* dst, const void* src, std::size_t n) noexcept;

}  // namespace vTaskDetail

// Copies `n` bytes as memcpy does: the two ranges must not overlap, and neither needs an alignment.
// From 8 MiB on the work is shared with the threads of vThreadPoolManager's arena; where they are
// all at other work, the caller waits for one to be done with it. In line, so that a small copy
// costs what memcpy costs.
inline void ParallelMemCpy(void* dst, const void* src, std::size_t n) {
    if (n < vTaskDetail::kParallelCopyBytes) [[likely]] {
        std::memcpy(dst, src, n);
    } else {
        vTaskDetail::CopyInParallel(dst, src, n);
    }
}

}  // namespace ZKL
