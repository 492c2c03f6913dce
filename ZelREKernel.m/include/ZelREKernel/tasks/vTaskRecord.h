#pragma once

// The fixed-size record that a task node, a job or a job's callable lives in.

#include <cstddef>
#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL::vTaskDetail {

inline constexpr std::size_t kTaskRecordSize = 80;       // bytes
inline constexpr std::size_t kTaskRecordAlignment = 16;  // bytes

// Fetches both cache lines of a record for writing, from any thread. Null is fine.
inline void PrefetchTaskRecord(const void* record) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    __builtin_prefetch(reinterpret_cast<const void*>(address), 1);
    __builtin_prefetch(reinterpret_cast<const void*>(address + kTaskRecordSize - 1), 1);
}

// The heap arrays of a node's lists. Short ones are recycled as nodes and jobs are: a thread that
// makes many for another thread to free is the worst that can happen to a general heap. Take throws
// std::bad_alloc or returns null when there is no memory; Give is told the size that was asked for.
struct ZELREKERNEL_EXPORT vTaskListHeap {
    // For vSmallVectorHeap, any thread:
    static void* Take(std::size_t size);
    static void Give(void* array, std::size_t size) noexcept;
};

}  // namespace ZKL::vTaskDetail
