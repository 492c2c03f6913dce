#pragma once

// Turns the nanoseconds of one thread's events into the whole microseconds of the trace.
//
// Rounded down, order and nesting stay as they are. But some viewers look at beginnings and ends
// apart and cannot tell, of two in the same microsecond, which came first: short slices would lose
// their ends or swallow the slice that follows. So an end after a beginning, or a beginning after
// an end, is put at least one microsecond after it, as long as that makes the thread run ahead by
// no more than kMaxLead. Where slices shorter than a microsecond come in longer runs, true times go
// before that comfort.

#include <algorithm>
#include <cstdint>

#include "ZelREKernel/profiling/vTraceRecord.h"

namespace ZKL {

class TraceTime {
public:
    static constexpr std::int64_t kMaxLead = 100;  // microseconds

    explicit TraceTime(std::int64_t origin) noexcept : origin_(origin) {}

    // The trace's time of `record`, whose timestamp is in nanoseconds on the steady clock. Never
    // less than that of the record before it.
    std::int64_t Convert(const vTraceRecord& record) noexcept {
        const std::int64_t exact = (record.timestamp - origin_) / 1000;
        std::int64_t time = std::max(exact, last_);
        if (const EEdge edge = _GetEdge(record.phase); edge != eNoEdge) {
            if (edge != lastEdge_ && time == lastEdgeTime_ && time + 1 - exact <= kMaxLead) {
                ++time;
            }
            lastEdge_ = edge;
            lastEdgeTime_ = time;
        }
        return last_ = time;
    }

private:
    enum EEdge : std::uint8_t { eNoEdge, eBeginning, eEnd };

    static EEdge _GetEdge(char phase) noexcept {
        // A flow's finish stands with the beginning right after it.
        return phase == 'B' || phase == 'f' ? eBeginning : phase == 'E' ? eEnd : eNoEdge;
    }

    std::int64_t origin_;
    std::int64_t last_ = 0;
    std::int64_t lastEdgeTime_ = -1;
    EEdge lastEdge_ = eNoEdge;
};

}  // namespace ZKL
