#include "Frames.h"

#include <algorithm>

namespace trace {
namespace {

// The frame whose window holds the time; null before the first mark and on other threads.
Frame* FrameAt(std::vector<Frame>& frames, std::uint32_t thread, std::int64_t time) {
    const auto next = std::upper_bound(
        frames.begin(), frames.end(), time,
        [](std::int64_t value, const Frame& frame) { return value < frame.begin; });
    if (next == frames.begin() || (next - 1)->thread != thread) {
        return nullptr;
    }
    return &*(next - 1);
}

void Extend(Frame& frame, const Trace& trace, std::uint32_t slice) {
    if (frame.last == kNone || trace.slices[slice].end > frame.end) {
        frame.last = slice;
        frame.end = trace.slices[slice].end;
    }
}

}  // namespace

std::vector<Frame> FindFrames(const Trace& trace) {
    std::vector<Frame> frames;
    frames.reserve(trace.frames.size());
    for (const FrameMark& mark : trace.frames) {
        if (!frames.empty()) {
            frames.back().next = mark.time;
        }
        frames.push_back({.index = mark.index,
                          .thread = mark.thread,
                          .begin = mark.time,
                          .next = trace.end,
                          .end = mark.time});
    }
    for (std::uint32_t i = 0; i < trace.slices.size() && !frames.empty(); ++i) {
        if (Frame* frame = FrameAt(frames, trace.slices[i].thread, trace.slices[i].begin)) {
            Extend(*frame, trace, i);
        }
    }
    for (const Flow& flow : trace.flows) {
        const FlowPoint& start = flow.points.front();
        Frame* const frame =
            start.phase == 's' ? FrameAt(frames, start.thread, start.time) : nullptr;
        for (const FlowPoint& point : flow.points) {
            if (frame != nullptr && point.slice != kNone) {
                Extend(*frame, trace, point.slice);
            }
        }
    }
    return frames;
}

}  // namespace trace
