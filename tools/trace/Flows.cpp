#include "Flows.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Text.h"

namespace trace {
namespace {

std::pair<std::int64_t, std::size_t> OrderOf(const FlowPoint& point) {
    return {point.time, std::string_view("stf").find(point.phase)};
}

void Note(const Trace& trace, const Flow& flow, const FlowPoint& point, std::string_view what,
          Faults& faults) {
    faults.Add([&] {
        return "event " + std::to_string(point.event) + ", " +
               Printable(ThreadTitle(trace.threads[point.thread])) + ", " +
               MicrosecondText(point.time) + " us: flow " + std::to_string(flow.id) + " " +
               std::string(what);
    });
}

}  // namespace

void OrderFlows(Trace& trace, Faults& faults) {
    for (Flow& flow : trace.flows) {
        std::stable_sort(
            flow.points.begin(), flow.points.end(),
            [](const FlowPoint& a, const FlowPoint& b) { return OrderOf(a) < OrderOf(b); });
        for (std::size_t i = 1; i < flow.points.size(); ++i) {
            if (flow.points[i].phase == 's') {
                Note(trace, flow, flow.points[i], "is started once more", faults);
            } else if (flow.points[i - 1].phase == 'f') {
                Note(trace, flow, flow.points[i], "goes on behind its end", faults);
            }
        }
    }
}

void FindLooseFlows(const Trace& trace, Faults& faults) {
    for (const Flow& flow : trace.flows) {
        const FlowPoint& first = flow.points.front();
        if (first.phase != 's') {
            Note(trace, flow, first, "has no start before it", faults);
        } else if (flow.points.size() == 1) {
            Note(trace, flow, first, "is started and goes nowhere", faults);
        }
    }
}

}  // namespace trace
