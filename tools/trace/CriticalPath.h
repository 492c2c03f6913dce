#pragma once

// The critical path of a frame: the chain of slices, across threads, in which each is what the next
// one had to wait for. It goes back in time from the end of the frame's last slice:
//
// - Inside a slice the path is the innermost slice that is open.
// - Where a flow comes into a slice, two things had to happen first: what the thread did before the
//   slice, and the flow's slice before. The path goes on with the one that lasted longer. A flow's
//   slice counts until its end, or, if it goes on longer, until the flow arrives.
// - Before a slice without such a flow the path goes on with what the thread did before. If the
//   thread did nothing, the path goes to the outermost slice, on any thread, that lasted at all and
//   ended last while it did so: most likely that one released it. Waiting in a slice whose name
//   says that it is one counts as doing nothing.
//
// It ends at the frame's beginning. Its segments fill the frame's time without a gap, so their
// lengths add up to the frame's.

#include <cstdint>
#include <string>
#include <vector>

#include "Frames.h"
#include "Trace.h"

namespace trace {

struct Segment {
    // How the path came here from the segment before it in time.
    enum class By : std::uint8_t { Thread, Flow, Release };

    std::uint32_t thread = 0;
    std::uint32_t slice = kNone;  // that runs; when waiting, the one that waits, or none
    bool isWaiting = false;
    By by = By::Thread;
    std::int64_t begin = 0;
    std::int64_t end = 0;

    std::int64_t Duration() const { return end - begin; }
};

class CriticalPath {
public:
    // Keeps a reference to the trace. Slices called `waitName`, in any case of its letters, wait.
    CriticalPath(const Trace& trace, std::string_view waitName);

    // In time. O(the path's slices), with logarithms for the searches.
    std::vector<Segment> Find(const Frame& frame);

private:
    friend class PathWalk;

    struct Incoming {
        std::uint32_t slice;
        std::int64_t time;
        std::uint32_t from;  // the slice of the flow's point before
    };

    const Trace& trace_;
    std::vector<bool> waits_;               // by name
    std::vector<Incoming> incoming_;        // by slice, then in time
    std::vector<std::uint32_t> outermost_;  // slices that lasted, in the order of their ends
};

}  // namespace trace
