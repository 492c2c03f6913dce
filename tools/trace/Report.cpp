#include "Report.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "CriticalPath.h"
#include "Frames.h"
#include "JsonText.h"
#include "ReportAssets.h"
#include "Statistics.h"

namespace trace {
namespace {

// Threads as a reader wants them; in the page each slice names its thread by its place here.
std::vector<std::uint32_t> OrderThreads(const Trace& trace) {
    std::vector<std::uint32_t> order(trace.threads.size());
    std::iota(order.begin(), order.end(), 0U);
    std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        const Thread& x = trace.threads[a];
        const Thread& y = trace.threads[b];
        return std::tie(x.pid, x.sortIndex, x.tid) < std::tie(y.pid, y.sortIndex, y.tid);
    });
    std::erase_if(order,
                  [&](std::uint32_t thread) { return trace.threads[thread].slices.empty(); });
    return order;
}

using Path = std::vector<Segment>;

class Data {
public:
    Data(const Trace& trace, const Options& options)
        : trace_(trace), options_(options), order_(OrderThreads(trace)) {
        lanes_.resize(trace.threads.size(), 0);
        for (std::uint32_t i = 0; i < order_.size(); ++i) {
            lanes_[order_[i]] = i;
        }
    }

    std::string Text() {
        out_ = "{\"file\":";
        AppendQuoted(out_, options_.operands[0]);
        out_ += ",\"events\":";
        AppendNumber(out_, trace_.eventCount);
        out_ += ",\"duration\":";
        AppendMicroseconds(out_, trace_.end - trace_.begin);
        AppendNames();
        AppendThreads();
        AppendSlices();
        AppendFlows();
        AppendFrames();
        AppendCounters();
        AppendSummary();
        out_ += '}';
        return std::move(out_);
    }

private:
    void AppendTime(std::int64_t time) { AppendMicroseconds(out_, time - trace_.begin); }
    void Separate() { out_ += ",\n"; }

    void AppendNames() {
        Separate();
        std::vector<std::uint32_t> names(trace_.names.Size());
        std::iota(names.begin(), names.end(), 0U);
        AppendArray(out_, "names", names,
                    [&](std::uint32_t name) { AppendQuoted(out_, trace_.names[name]); });
    }

    void AppendThreads() {
        Separate();
        AppendArray(out_, "threads", order_, [&](std::uint32_t index) {
            const Thread& thread = trace_.threads[index];
            const auto process = trace_.processNames.find(thread.pid);
            out_ += "{\"name\":";
            AppendQuoted(out_, ThreadTitle(thread));
            out_ += ",\"process\":";
            AppendQuoted(out_, process == trace_.processNames.end() ? "" : process->second);
            out_ += '}';
        });
    }

    // Columns, because that is short; a beginning is the distance from the one before.
    void AppendSlices() {
        const auto column = [&](std::string_view name, auto append) {
            Separate();
            AppendArray(out_, name, trace_.slices, append);
        };
        column("sliceThread", [&](const Slice& s) { AppendNumber(out_, lanes_[s.thread]); });
        column("sliceName", [&](const Slice& s) { AppendNumber(out_, s.name); });
        column("sliceArguments", [&](const Slice& s) { AppendNumber(out_, s.arguments); });
        column("sliceDepth", [&](const Slice& s) { AppendNumber(out_, s.depth); });
        column("sliceDuration", [&](const Slice& s) { AppendMicroseconds(out_, s.Duration()); });
        std::int64_t before = trace_.begin;
        column("sliceBegin", [&](const Slice& s) {
            AppendMicroseconds(out_, s.begin - before);
            before = s.begin;
        });
    }

    // Arrows: from slice, its time, to slice, its time.
    void AppendFlows() {
        Separate();
        out_ += "\"flows\":[";
        bool isFirst = true;
        for (const Flow& flow : trace_.flows) {
            for (std::size_t i = 1; i < flow.points.size(); ++i) {
                const FlowPoint& from = flow.points[i - 1];
                const FlowPoint& to = flow.points[i];
                if (from.slice == kNone || to.slice == kNone) {
                    continue;
                }
                out_ += isFirst ? "" : ",";
                isFirst = false;
                AppendNumber(out_, from.slice);
                out_ += ',';
                AppendTime(from.time);
                out_ += ',';
                AppendNumber(out_, to.slice);
                out_ += ',';
                AppendTime(to.time);
            }
        }
        out_ += ']';
    }

    void AppendFrames() {
        Separate();
        const std::vector<Frame> frames = FindFrames(trace_);
        const std::vector<std::optional<Path>> paths = FindPaths(frames);
        auto found = paths.begin();
        AppendArray(out_, "frames", frames, [&](const Frame& frame) {
            out_ += "{\"index\":";
            AppendQuoted(out_, frame.index);
            out_ += ",\"begin\":";
            AppendTime(frame.begin);
            out_ += ",\"next\":";
            AppendTime(frame.next);
            out_ += ",\"end\":";
            AppendTime(frame.end);
            out_ += ',';
            const std::optional<Path>& path = *found++;
            if (!path) {
                out_ += "\"path\":null}";
                return;
            }
            // Lane, slice or -1, whether it waits, beginning, duration.
            AppendArray(out_, "path", *path, [&](const Segment& segment) {
                AppendNumber(out_, lanes_[segment.thread]);
                out_ += ',';
                AppendNumber(out_, segment.slice == kNone ? -1 : std::int64_t{segment.slice});
                out_ += segment.isWaiting ? ",1," : ",0,";
                AppendTime(segment.begin);
                out_ += ',';
                AppendMicroseconds(out_, segment.Duration());
            });
            out_ += '}';
        });
    }

    // The paths of the slowest frames, as many as the page has room for.
    std::vector<std::optional<Path>> FindPaths(const std::vector<Frame>& frames) const {
        std::vector<std::size_t> slowestFirst(frames.size());
        std::iota(slowestFirst.begin(), slowestFirst.end(), 0U);
        std::stable_sort(
            slowestFirst.begin(), slowestFirst.end(), [&](std::size_t a, std::size_t b) {
                return frames[a].end - frames[a].begin > frames[b].end - frames[b].begin;
            });
        CriticalPath finder(trace_, options_.wait);
        std::vector<std::optional<Path>> paths(frames.size());
        std::size_t steps = 0;
        for (const std::size_t frame : slowestFirst) {
            if (steps >= options_.mostSteps) {
                break;
            }
            paths[frame] = finder.Find(frames[frame]);
            steps += paths[frame]->size();
        }
        return paths;
    }

    // Name, time, value.
    void AppendCounters() {
        Separate();
        AppendArray(out_, "counters", trace_.counters, [&](const CounterPoint& point) {
            AppendNumber(out_, point.name);
            out_ += ',';
            AppendTime(point.time);
            out_ += ',';
            AppendNumber(out_, std::isfinite(point.value) ? point.value : 0.0);
        });
    }

    void AppendSummary() {
        Separate();
        std::vector<NameStatistics> rows = Summarise(trace_);
        Sort(rows, "total", trace_.names);
        AppendArray(out_, "summary", rows, [&](const NameStatistics& row) {
            out_ += '[';
            AppendNumber(out_, row.name);
            out_ += ',';
            AppendNumber(out_, row.count);
            for (const std::int64_t time : {row.total, row.self, row.p50, row.p99, row.longest}) {
                out_ += ',';
                AppendMicroseconds(out_, time);
            }
            out_ += ']';
        });
    }

    const Trace& trace_;
    const Options& options_;
    std::vector<std::uint32_t> order_;  // threads that have slices
    std::vector<std::uint32_t> lanes_;  // by thread: its place in the order
    std::string out_;
};

}  // namespace

std::string ReportText(const Trace& trace, const Options& options) {
    const std::string data = Data(trace, options).Text();
    std::string page;
    page.reserve(data.size() + kReportPage.size() + kReportStyle.size() + kReportProgram.size());
    std::string_view rest = kReportPage;
    const std::pair<std::string_view, std::string_view> places[] = {
        {"@STYLE@", kReportStyle}, {"@DATA@", data}, {"@PROGRAM@", kReportProgram}};
    for (const auto& [place, text] : places) {
        const std::size_t at = rest.find(place);
        page += rest.substr(0, at);
        page += text;
        rest.remove_prefix(at + place.size());
    }
    page += rest;
    return page;
}

}  // namespace trace
