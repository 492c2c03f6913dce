#include <ZelREKernel/json/ZelFancyJSONWriter.h>
#include <ZelREKernel/json/ZelJSONValue.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <map>
#include <vector>

#include "CriticalPath.h"
#include "Frames.h"
#include "Statistics.h"
#include "Table.h"
#include "Tables.h"
#include "Text.h"

namespace trace {
namespace {

std::int64_t Duration(const Frame& frame) {
    return frame.end - frame.begin;
}

std::string LastName(const Trace& trace, const Frame& frame) {
    return frame.last == kNone ? "" : trace.names[trace.slices[frame.last].name];
}

std::string FramesText(const Trace& trace, const std::vector<Frame>& frames, std::size_t top) {
    Table table({"frame", "begin", "to the next", "duration", "last slice"});
    std::vector<std::int64_t> durations;
    for (const Frame& frame : frames) {
        durations.push_back(Duration(frame));
        if (durations.size() <= top) {
            table.Add({Printable(frame.index), MillisecondText(frame.begin - trace.begin),
                       MillisecondText(frame.next - frame.begin), MillisecondText(Duration(frame)),
                       Printable(LastName(trace, frame))});
        }
    }
    std::string text = table.Text();
    if (!durations.empty()) {
        text += "duration: p50 " + MillisecondText(Percentile(durations, 50)) + ", p99 " +
                MillisecondText(Percentile(durations, 99)) + "\n";
    }
    return text;
}

std::string FramesJson(const Trace& trace, const std::vector<Frame>& frames, std::size_t top) {
    ZelJSONValue root(ZelJSONValue::arrayValue);
    for (std::uint32_t i = 0; i < std::min(frames.size(), top); ++i) {
        root[i]["frame"] = ZelJSONValue(frames[i].index);
        root[i]["begin"] = ZelJSONValue(frames[i].begin - trace.begin);
        root[i]["interval"] = ZelJSONValue(frames[i].next - frames[i].begin);
        root[i]["duration"] = ZelJSONValue(Duration(frames[i]));
        root[i]["last"] = ZelJSONValue(LastName(trace, frames[i]));
    }
    return ZelFancyJSONWriter().Write(root);
}

std::string NameOf(const Trace& trace, const Segment& segment) {
    return segment.slice == kNone ? "" : trace.names[trace.slices[segment.slice].name];
}

std::string StepName(const Trace& trace, const Segment& segment) {
    std::string name = NameOf(trace, segment);
    if (!segment.isWaiting) {
        return name;
    }
    return segment.slice == kNone ? "(idle)" : std::string("(wait for ").append(name).append(")");
}

std::string StepsText(const Trace& trace, const Frame& frame, const std::vector<Segment>& path,
                      std::size_t top) {
    constexpr const char* kBy[] = {"", "flow", "release"};
    Table table({"slice", "at", "duration", "thread", "by"});
    for (std::size_t i = 0; i < std::min(path.size(), top); ++i) {
        const Segment& segment = path[i];
        table.Add({Printable(StepName(trace, segment)),
                   MillisecondText(segment.begin - frame.begin),
                   MillisecondText(segment.Duration()),
                   Printable(ThreadTitle(trace.threads[segment.thread])),
                   kBy[static_cast<std::size_t>(segment.by)]});
    }
    return table.Text();
}

struct PathShare {
    std::string name;
    std::uint64_t steps = 0;
    std::int64_t total = 0;
};

std::vector<PathShare> ShareOut(const Trace& trace, const std::vector<Segment>& path) {
    std::map<std::string, PathShare> byName;
    for (const Segment& segment : path) {
        const std::string name = segment.isWaiting ? "(waiting)" : NameOf(trace, segment);
        PathShare& share = byName[name];
        share.name = name;
        ++share.steps;
        share.total += segment.Duration();
    }
    std::vector<PathShare> shares;
    for (auto& [name, share] : byName) {
        shares.push_back(std::move(share));
    }
    std::stable_sort(shares.begin(), shares.end(),
                     [](const PathShare& a, const PathShare& b) { return a.total > b.total; });
    return shares;
}

std::string SharesText(const Frame& frame, const std::vector<PathShare>& shares, std::size_t top) {
    Table table({"name", "steps", "on the path", ""});
    for (std::size_t i = 0; i < std::min(shares.size(), top); ++i) {
        char percent[32];
        std::snprintf(
            percent, sizeof(percent), "%.1f%%",
            100 * static_cast<double>(shares[i].total) / static_cast<double>(Duration(frame)));
        table.Add({Printable(shares[i].name), std::to_string(shares[i].steps),
                   MillisecondText(shares[i].total), percent});
    }
    return table.Text();
}

std::string PathJson(const Trace& trace, const Frame& frame, const std::vector<Segment>& path,
                     std::size_t top) {
    constexpr const char* kBy[] = {"thread", "flow", "release"};
    ZelJSONValue root(ZelJSONValue::arrayValue);
    for (std::uint32_t i = 0; i < std::min(path.size(), top); ++i) {
        root[i]["name"] = ZelJSONValue(NameOf(trace, path[i]));
        root[i]["thread"] = ZelJSONValue(ThreadTitle(trace.threads[path[i].thread]));
        root[i]["begin"] = ZelJSONValue(path[i].begin - frame.begin);
        root[i]["duration"] = ZelJSONValue(path[i].Duration());
        root[i]["waiting"] = ZelJSONValue(path[i].isWaiting);
        root[i]["by"] = ZelJSONValue(kBy[static_cast<std::size_t>(path[i].by)]);
    }
    return ZelFancyJSONWriter().Write(root);
}

std::vector<Frame>::const_iterator FindFrame(const std::vector<Frame>& frames,
                                             const std::string& which) {
    if (which == "slowest") {
        return std::max_element(frames.begin(), frames.end(), [](const Frame& a, const Frame& b) {
            return Duration(a) < Duration(b);
        });
    }
    return std::find_if(frames.begin(), frames.end(),
                        [&](const Frame& frame) { return frame.index == which; });
}

}  // namespace

bool FrameText(const Trace& trace, const Options& options, std::string& text) {
    const std::vector<Frame> frames = FindFrames(trace);
    if (options.operands.size() < 2) {
        text = options.json ? FramesJson(trace, frames, options.top)
                            : FramesText(trace, frames, options.top);
        return true;
    }
    const auto frame = FindFrame(frames, options.operands[1]);
    if (frame == frames.end()) {
        return false;
    }
    const std::vector<Segment> path = CriticalPath(trace, options.wait).Find(*frame);
    if (options.json) {
        text = PathJson(trace, *frame, path, options.top);
        return true;
    }
    text = "frame " + Printable(frame->index) + ", " + MillisecondText(Duration(*frame)) +
           " ms, ends with " + Quoted(LastName(trace, *frame)) + "\n";
    text += options.path ? StepsText(trace, *frame, path, options.top)
                         : SharesText(*frame, ShareOut(trace, path), options.top);
    return true;
}

}  // namespace trace
