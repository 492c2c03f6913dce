#pragma once

// The fixed-size record that a task node, a job or a job's callable lives in.

#include <cstddef>
#include <cstdint>

namespace ZKL::vTaskDetail {

inline constexpr std::size_t kTaskRecordSize = 80;
inline constexpr std::size_t kTaskRecordAlignment = 16;

// Fetches both cache lines of a record for writing, from any thread. Null is fine.
inline void PrefetchTaskRecord(const void* record) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    __builtin_prefetch(reinterpret_cast<const void*>(address), 1);
    __builtin_prefetch(reinterpret_cast<const void*>(address + kTaskRecordSize - 1), 1);
}

}  // namespace ZKL::vTaskDetail
