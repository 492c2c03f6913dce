#pragma once

// The frames of a trace, and where the work of each ends.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Trace.h"

namespace trace {

// A frame lasts from its mark to the end of the last slice that belongs to it. To it belong the
// slices that the marking thread begins between the mark and the next one, and every slice that a
// point of a flow is in which the marking thread started there: with frames that overlap, as in a
// pipeline, that is later than the next mark.
struct Frame {
    std::string index;
    std::uint32_t thread = 0;  // that marked it
    std::int64_t begin = 0;
    std::int64_t next = 0;       // the next mark, or the trace's end
    std::uint32_t last = kNone;  // the slice that ends last; none in a frame without slices
    std::int64_t end = 0;        // its end
};

// O(slices + points of flows + frames), and a logarithm for the search.
std::vector<Frame> FindFrames(const Trace& trace);

}  // namespace trace
