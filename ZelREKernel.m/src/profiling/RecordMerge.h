#pragma once

// Goes through the records of all threads in order of time, those of one thread in the order in
// which they were recorded, while the threads go on recording. What it went through is given back
// to them.
//
// For one thread at a time.

#include <span>
#include <vector>

#include "profiling/ThreadRecords.h"

namespace ZKL {

class RecordMerge {
public:
    // Reads what the threads have recorded by now.
    explicit RecordMerge(std::vector<ThreadRecords*> sources) noexcept;

    // Moves the next records into `out`; returns how many, 0 at the end. O(n log threads).
    std::size_t Read(std::span<vTraceRecord> out) noexcept;

private:
    // A heap by the time of each one's front record; none is empty.
    std::vector<ThreadRecords*> sources_;
};

}  // namespace ZKL
