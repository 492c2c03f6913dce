#pragma once

// How many records of the task graph are in use: what a leak check asks.
//
// Callable from any thread. The numbers are exact when no other thread makes or drops nodes and
// jobs.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL::vTaskDetail {

struct vTaskRecordCounts {
    std::uint64_t blocks = 0;     // taken from the heap, 16 nodes or jobs each
    std::uint64_t handedOut = 0;  // records that have been in use at least once
    std::int64_t live = 0;        // records in use now
};

// Linear in the number of threads that have used the pool.
ZELREKERNEL_EXPORT vTaskRecordCounts CountNodeRecords();
// Callables that live in a record of their own count as well.
ZELREKERNEL_EXPORT vTaskRecordCounts CountJobRecords();
// The short heap arrays of nodes' lists, 40 to a block.
ZELREKERNEL_EXPORT vTaskRecordCounts CountListRecords();

}  // namespace ZKL::vTaskDetail
