#include "TraceBuilder.h"

#include <algorithm>
#include <charconv>

#include "Text.h"

namespace trace {
namespace {

std::uint64_t ThreadKey(const Event& event) {
    return static_cast<std::uint64_t>(event.pid) * 0x9E3779B97F4A7C15u +
           static_cast<std::uint64_t>(event.tid);
}

}  // namespace

void TraceBuilder::Add(const Event& event) {
    constexpr std::string_view kPhases = "BEistfCM";
    const std::uint32_t thread = FindThread(event);
    if (kPhases.find(event.phase) == std::string_view::npos) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "a phase " +
                   Quoted({&event.phase, 1}) + " that the profiler does not write";
        });
    } else if (event.phase == 'M') {
        AddMetaData(event, thread);
    } else {
        TakeTime(event, thread);
        switch (event.phase) {
            case 'B':
                Begin(event, thread);
                break;
            case 'E':
                End(event, thread);
                break;
            case 'C':
                trace_.counters.push_back({trace_.names.Add(event.name), event.time, event.number});
                break;
            case 'i':
                if (event.name == "Frame" && event.category == "frame") {
                    trace_.frames.push_back({std::string(event.argument), thread, event.time});
                }
                break;
            default:
                AddFlowPoint(event, thread);
        }
    }
    ++trace_.eventCount;
}

void TraceBuilder::AddBroken(std::string_view what) {
    faults_.Add(
        [&] { return "event " + std::to_string(trace_.eventCount) + ": " + std::string(what); });
    ++trace_.eventCount;
}

Trace TraceBuilder::Finish() {
    for (std::uint32_t thread = 0; thread < lanes_.size(); ++thread) {
        Lane& lane = lanes_[thread];
        DropFinishing(lane);
        for (; !lane.open.empty(); lane.open.pop_back()) {
            const std::uint32_t slice = lane.open.back();
            faults_.Add([&] {
                return Printable(ThreadTitle(trace_.threads[thread])) + ": slice " +
                       Quoted(trace_.names[trace_.slices[slice].name]) + ", begun at " +
                       MicrosecondText(trace_.slices[slice].begin) + " us, never ends";
            });
            Close(slice, trace_.threads[thread].lastTime);
        }
    }
    std::stable_sort(trace_.frames.begin(), trace_.frames.end(),
                     [](const FrameMark& a, const FrameMark& b) { return a.time < b.time; });
    return std::move(trace_);
}

std::uint32_t TraceBuilder::FindThread(const Event& event) {
    const auto is = [&](std::uint32_t thread) {
        return trace_.threads[thread].pid == event.pid && trace_.threads[thread].tid == event.tid;
    };
    if (lastThread_ != kNone && is(lastThread_)) {
        return lastThread_;
    }
    std::vector<std::uint32_t>& candidates = threads_[ThreadKey(event)];
    const auto known = std::find_if(candidates.begin(), candidates.end(), is);
    if (known != candidates.end()) {
        return lastThread_ = *known;
    }
    lastThread_ = static_cast<std::uint32_t>(trace_.threads.size());
    candidates.push_back(lastThread_);
    Thread& thread = trace_.threads.emplace_back();
    thread.pid = event.pid;
    thread.tid = event.tid;
    lanes_.emplace_back();
    return lastThread_;
}

void TraceBuilder::TakeTime(const Event& event, std::uint32_t thread) {
    Thread& owner = trace_.threads[thread];
    if (event.time < owner.lastTime) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "goes back in time, from " +
                   MicrosecondText(owner.lastTime) + " us";
        });
    }
    owner.lastTime = std::max(owner.lastTime, event.time);
    trace_.begin = hasTime_ ? std::min(trace_.begin, event.time) : event.time;
    trace_.end = hasTime_ ? std::max(trace_.end, event.time) : event.time;
    hasTime_ = true;
}

void TraceBuilder::Begin(const Event& event, std::uint32_t thread) {
    Lane& lane = lanes_[thread];
    Thread& owner = trace_.threads[thread];
    Slice slice;
    slice.name = trace_.names.Add(event.name);
    slice.arguments = trace_.names.Add(event.arguments);
    slice.thread = thread;
    slice.parent = lane.open.empty() ? kNone : lane.open.back();
    slice.depth = static_cast<std::uint32_t>(lane.open.size());
    std::uint32_t& last =
        slice.parent == kNone ? owner.lastOutermost : trace_.slices[slice.parent].lastChild;
    slice.previous = last;
    // What goes back in time begins where the thread was: the lists stay in order.
    slice.begin = slice.end = owner.lastTime;
    const auto index = static_cast<std::uint32_t>(trace_.slices.size());
    last = index;
    for (const std::size_t place : lane.finishing) {
        FlowPoint& point = trace_.flows[finishing_[place].flow].points[finishing_[place].point];
        if (point.time == event.time) {
            point.slice = index;
        }
    }
    DropFinishing(lane);
    lane.open.push_back(index);
    owner.slices.push_back(index);
    trace_.slices.push_back(slice);
}

void TraceBuilder::End(const Event& event, std::uint32_t thread) {
    Lane& lane = lanes_[thread];
    DropFinishing(lane);
    if (lane.open.empty()) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "slice " + Quoted(event.name) +
                   " ends and was never begun";
        });
        return;
    }
    const std::uint32_t slice = lane.open.back();
    const std::string& name = trace_.names[trace_.slices[slice].name];
    if (name != event.name) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "slice " + Quoted(event.name) +
                   " ends where " + Quoted(name) + " is the innermost";
        });
    }
    lane.open.pop_back();
    Close(slice, trace_.threads[thread].lastTime);
}

void TraceBuilder::AddFlowPoint(const Event& event, std::uint32_t thread) {
    if (!event.hasId) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "a point of a flow without an id";
        });
        return;
    }
    const auto [place, isNew] =
        flows_.try_emplace(event.id, static_cast<std::uint32_t>(trace_.flows.size()));
    if (isNew) {
        trace_.flows.emplace_back().id = event.id;
    }
    Lane& lane = lanes_[thread];
    const std::uint32_t open = event.phase == 'f' || lane.open.empty() ? kNone : lane.open.back();
    std::vector<FlowPoint>& points = trace_.flows[place->second].points;
    points.push_back(
        {event.phase, open, thread, trace_.threads[thread].lastTime, trace_.eventCount});
    if (event.phase == 'f') {
        lane.finishing.push_back(finishing_.size());
        finishing_.push_back({place->second, static_cast<std::uint32_t>(points.size() - 1)});
    } else if (open == kNone) {
        faults_.Add([&] {
            return Where(trace_.eventCount, thread, event.time) + "flow " +
                   std::to_string(event.id) + " is outside all slices";
        });
    }
}

void TraceBuilder::AddMetaData(const Event& event, std::uint32_t thread) {
    if (event.name == "process_name") {
        trace_.processNames[event.pid] = event.argument;
    } else if (event.name == "thread_name") {
        trace_.threads[thread].name = event.argument;
    } else if (event.name == "thread_sort_index") {
        std::from_chars(event.argument.data(), event.argument.data() + event.argument.size(),
                        trace_.threads[thread].sortIndex);
    }
}

void TraceBuilder::Close(std::uint32_t index, std::int64_t time) {
    Slice& slice = trace_.slices[index];
    slice.end = std::max(slice.begin, time);
    if (slice.parent != kNone) {
        trace_.slices[slice.parent].childTime += slice.Duration();
    }
}

// Whoever still waits for a slice has waited in vain.
void TraceBuilder::DropFinishing(Lane& lane) {
    for (const std::size_t place : lane.finishing) {
        const Flow& flow = trace_.flows[finishing_[place].flow];
        const FlowPoint& point = flow.points[finishing_[place].point];
        if (point.slice == kNone) {
            faults_.Add([&] {
                return Where(point.event, point.thread, point.time) + "flow " +
                       std::to_string(flow.id) + " ends where no slice begins";
            });
        }
    }
    lane.finishing.clear();
}

std::string TraceBuilder::Where(std::uint64_t event, std::uint32_t thread,
                                std::int64_t time) const {
    return "event " + std::to_string(event) + ", " +
           Printable(ThreadTitle(trace_.threads[thread])) + ", " + MicrosecondText(time) + " us: ";
}

}  // namespace trace
