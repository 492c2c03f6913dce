#pragma once

// A trace as the commands look at it: slices that know their parents, flows whose points know their
// slices, frame marks, counters. Times are nanoseconds of the trace's own clock.
//
// Plain data, filled by TraceBuilder; reading it is safe from any thread.

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace trace {

// No slice, no name, no thread.
inline constexpr std::uint32_t kNone = 0xFFFFFFFFu;

// Each text once; the numbers count up from 0, which is the empty text.
class Names {
public:
    Names() { Add(""); }
    std::uint32_t Add(std::string_view text);
    const std::string& operator[](std::uint32_t id) const { return texts_[id]; }
    std::uint32_t Size() const { return static_cast<std::uint32_t>(texts_.size()); }

private:
    std::deque<std::string> texts_;
    std::unordered_map<std::string_view, std::uint32_t> ids_;
};

struct Slice {
    std::uint32_t name = 0;
    std::uint32_t arguments = 0;  // a name: "job: 7"
    std::uint32_t thread = 0;
    std::uint32_t parent = kNone;
    std::uint32_t depth = 0;
    std::uint32_t previous = kNone;   // the slice before it in the same parent, or on the thread
    std::uint32_t lastChild = kNone;  // the last slice directly inside
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t childTime = 0;  // of the slices directly inside

    std::int64_t Duration() const { return end - begin; }
    std::int64_t Self() const { return Duration() - childTime; }
};

struct Thread {
    std::int64_t pid = 0;
    std::int64_t tid = 0;
    std::string name;
    std::int64_t sortIndex = 0;
    std::vector<std::uint32_t> slices;  // in the order of their beginnings
    std::uint32_t lastOutermost = kNone;
    std::int64_t lastTime = INT64_MIN;
};

struct FlowPoint {
    char phase = 's';  // start, t a step, f the end
    std::uint32_t slice = kNone;
    std::uint32_t thread = 0;
    std::int64_t time = 0;
    std::uint64_t event = 0;  // its place in the file
};

struct Flow {
    std::uint64_t id = 0;
    std::vector<FlowPoint> points;  // in time, once Flows.h has ordered them
};

struct FrameMark {
    std::string index;
    std::uint32_t thread = 0;
    std::int64_t time = 0;
};

struct CounterPoint {
    std::uint32_t name = 0;
    std::int64_t time = 0;
    double value = 0;
};

struct Trace {
    Names names;
    std::unordered_map<std::int64_t, std::string> processNames;
    std::vector<Thread> threads;
    std::vector<Slice> slices;  // in the order of their beginnings in the file
    std::vector<Flow> flows;
    std::vector<FrameMark> frames;  // in time
    std::vector<CounterPoint> counters;
    std::uint64_t eventCount = 0;
    std::int64_t begin = 0;  // of the first event that has a time
    std::int64_t end = 0;
};

// "Renderer 1" or, without a name, "thread 0:2", by process and thread.
std::string ThreadTitle(const Thread& thread);

}  // namespace trace
