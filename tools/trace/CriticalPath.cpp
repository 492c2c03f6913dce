#include "CriticalPath.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <tuple>
#include <unordered_set>

namespace trace {
namespace {

bool IsSameWord(std::string_view a, std::string_view b) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

CriticalPath::CriticalPath(const Trace& trace, std::string_view waitName) : trace_(trace) {
    waits_.resize(trace.names.Size());
    for (std::uint32_t name = 0; name < trace.names.Size(); ++name) {
        waits_[name] = !waitName.empty() && IsSameWord(trace.names[name], waitName);
    }
    for (const Flow& flow : trace.flows) {
        for (std::size_t i = 1; i < flow.points.size(); ++i) {
            const FlowPoint& from = flow.points[i - 1];
            const FlowPoint& to = flow.points[i];
            if (from.slice != kNone && to.slice != kNone && from.slice != to.slice) {
                incoming_.push_back({to.slice, to.time, from.slice});
            }
        }
    }
    std::sort(incoming_.begin(), incoming_.end(), [](const Incoming& a, const Incoming& b) {
        return std::tie(a.slice, a.time) < std::tie(b.slice, b.time);
    });
    for (std::uint32_t i = 0; i < trace.slices.size(); ++i) {
        if (trace.slices[i].parent == kNone && trace.slices[i].Duration() > 0) {
            outermost_.push_back(i);
        }
    }
    std::stable_sort(outermost_.begin(), outermost_.end(), [&](std::uint32_t a, std::uint32_t b) {
        return trace.slices[a].end < trace.slices[b].end;
    });
}

// One walk back in time. It is at a time of a thread, and in a slice or between slices.
class PathWalk {
public:
    PathWalk(const CriticalPath& path, const Frame& frame)
        : path_(path), trace_(path.trace_), start_(frame.begin), time_(frame.end) {
        Enter(frame.last, frame.end, Segment::By::Thread);
    }

    std::vector<Segment> Run() {
        while (time_ > start_) {
            Step();
        }
        std::reverse(segments_.begin(), segments_.end());
        return std::move(segments_);
    }

private:
    const Slice& At(std::uint32_t slice) const { return trace_.slices[slice]; }

    // The path comes out of `slice` at `time`. What it has gone through after that came by `by`.
    void Enter(std::uint32_t slice, std::int64_t time, Segment::By by) {
        if (!segments_.empty()) {
            segments_.back().by = by;
        }
        visited_.insert(slice);
        thread_ = At(slice).thread;
        time_ = time;
        if (time == At(slice).end) {
            MoveInto(slice);
        } else if (time > At(slice).begin) {
            MoveInside();
        } else {
            slice_ = slice;
            before_ = kNone;
        }
    }

    // To the end of a slice, and there into the innermost one that ends with it.
    void MoveInto(std::uint32_t slice) {
        slice_ = slice;
        before_ = At(slice).lastChild;
        while (before_ != kNone && At(before_).end >= time_) {
            slice_ = before_;
            before_ = At(slice_).lastChild;
        }
    }

    // To what the thread did before the open slice began.
    void MoveOut() {
        const Slice& slice = At(slice_);
        before_ = slice.previous;
        slice_ = slice.parent;
        if (before_ != kNone && At(before_).end >= time_) {
            MoveInto(before_);
        }
    }

    // To the innermost slice of the thread that is open at the time.
    void MoveInside() {
        const std::vector<std::uint32_t>& slices = trace_.threads[thread_].slices;
        const auto next = std::lower_bound(
            slices.begin(), slices.end(), time_,
            [&](std::uint32_t slice, std::int64_t time) { return At(slice).begin < time; });
        before_ = kNone;
        slice_ = *(next - 1);  // there is one: the slice that is entered
        while (At(slice_).end < time_) {
            before_ = slice_;
            slice_ = At(slice_).parent;
        }
    }

    void Emit(std::int64_t begin, std::uint32_t slice, bool isWaiting) {
        begin = std::max(begin, start_);
        if (begin < time_) {
            segments_.push_back({.thread = thread_,
                                 .slice = slice,
                                 .isWaiting = isWaiting,
                                 .begin = begin,
                                 .end = time_});
            time_ = begin;
        }
    }

    void Step() {
        const std::int64_t ended = before_ == kNone ? start_ : At(before_).end;
        const bool isIdle = slice_ == kNone;
        const std::int64_t floor = isIdle || before_ != kNone ? ended : At(slice_).begin;
        if (!isIdle && FollowFlow(floor)) {
            return;
        }
        const bool isWaiting = isIdle || path_.waits_[At(slice_).name];
        if (isWaiting && Release(floor)) {
            return;
        }
        Emit(floor, slice_, isWaiting);
        time_ = std::min(time_, floor);
        if (before_ != kNone) {
            MoveInto(before_);
        } else if (!isIdle) {
            MoveOut();
        }
    }

    // When what the thread did before the open slice, or in it, was over.
    std::int64_t BusyUntil() const {
        if (before_ != kNone) {
            return At(before_).end;
        }
        const Slice& slice = At(slice_);
        return slice.previous != kNone ? At(slice.previous).end
               : slice.parent != kNone ? At(slice.parent).begin
                                       : INT64_MIN;
    }

    // Goes along the last flow that came into the open slice since `floor`, if that is the way.
    bool FollowFlow(std::int64_t floor) {
        const auto* const incoming = LastIncoming(floor);
        if (incoming == nullptr) {
            return false;
        }
        const std::int64_t handedOver = std::min(At(incoming->from).end, incoming->time);
        if (handedOver < BusyUntil() || visited_.contains(incoming->from)) {
            return false;
        }
        // What the slice did before the flow came is on the way only as far as the flow was not.
        Emit(std::max(handedOver, At(slice_).begin), slice_, path_.waits_[At(slice_).name]);
        Emit(handedOver, slice_, true);
        Enter(incoming->from, std::min(handedOver, time_), Segment::By::Flow);
        return true;
    }

    const CriticalPath::Incoming* LastIncoming(std::int64_t floor) const {
        const auto next = std::upper_bound(path_.incoming_.begin(), path_.incoming_.end(),
                                           std::tie(slice_, time_),
                                           [](const std::tuple<std::uint32_t, std::int64_t>& at,
                                              const CriticalPath::Incoming& each) {
                                               return at < std::make_tuple(each.slice, each.time);
                                           });
        if (next == path_.incoming_.begin()) {
            return nullptr;
        }
        const CriticalPath::Incoming& last = *(next - 1);
        return last.slice == slice_ && last.time >= floor ? &last : nullptr;
    }

    // Goes to the outermost slice of any thread that ended last after `since`, if there is one.
    bool Release(std::int64_t since) {
        auto next = std::upper_bound(
            path_.outermost_.begin(), path_.outermost_.end(), time_,
            [&](std::int64_t time, std::uint32_t slice) { return time < At(slice).end; });
        while (next != path_.outermost_.begin()) {
            const std::uint32_t slice = *--next;
            if (At(slice).end <= since) {
                return false;
            }
            if (At(slice).thread != thread_ && !visited_.contains(slice)) {
                Emit(At(slice).end, slice_, true);
                Enter(slice, At(slice).end, Segment::By::Release);
                return true;
            }
        }
        return false;
    }

    const CriticalPath& path_;
    const Trace& trace_;
    std::int64_t start_;
    std::int64_t time_;
    std::uint32_t thread_ = 0;
    std::uint32_t slice_ = kNone;   // the innermost open one
    std::uint32_t before_ = kNone;  // the last that ended directly inside it, or on the thread
    std::unordered_set<std::uint32_t> visited_;  // by a leap, which happens once for each
    std::vector<Segment> segments_;              // the last first
};

std::vector<Segment> CriticalPath::Find(const Frame& frame) {
    if (frame.last == kNone) {
        return {};
    }
    return PathWalk(*this, frame).Run();
}

}  // namespace trace
