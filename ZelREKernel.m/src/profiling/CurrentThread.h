#pragma once

// What the profiler keeps at hand of the calling thread; read on every event.

#include <cstdint>

#include "PerThread.h"

namespace ZKL {

class ThreadRecords;

namespace CurrentThread {

// Null until the thread's first event.
using Records = PerThread<struct RecordsTag, ThreadRecords*>;
// 0 is none yet.
using IndexPlusOne = PerThread<struct IndexTag, std::uint32_t>;

}  // namespace CurrentThread
}  // namespace ZKL
