#pragma once

// Makes a Trace of the events of a file, one after the other, and notes what does not fit.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Faults.h"
#include "Trace.h"

namespace trace {

// One event as it stands in the file. Texts live as long as the document.
struct Event {
    char phase = 0;
    std::string_view name;
    std::string_view category;
    std::int64_t pid = 0;
    std::int64_t tid = 0;
    std::int64_t time = 0;
    bool hasTime = false;
    bool hasId = false;
    std::uint64_t id = 0;
    std::string_view arguments;  // all of them, "job: 7"
    std::string_view argument;   // the first one's value
    double number = 0;           // the first one's value
};

class TraceBuilder {
public:
    explicit TraceBuilder(Faults& faults) : faults_(faults) {}

    void Add(const Event& event);
    // An event that is none; `what` is wrong with it.
    void AddBroken(std::string_view what);
    // Closes what is still open. The builder is done with.
    Trace Finish();

private:
    // What happens on a thread.
    struct Lane {
        std::vector<std::uint32_t> open;     // slices, outermost first
        std::vector<std::size_t> finishing;  // flow ends that wait for the next slice
    };
    struct PointPlace {
        std::uint32_t flow;
        std::uint32_t point;
    };

    std::uint32_t FindThread(const Event& event);
    void TakeTime(const Event& event, std::uint32_t thread);
    void Begin(const Event& event, std::uint32_t thread);
    void End(const Event& event, std::uint32_t thread);
    void AddFlowPoint(const Event& event, std::uint32_t thread);
    void AddMetaData(const Event& event, std::uint32_t thread);
    void Close(std::uint32_t index, std::int64_t time);
    void DropFinishing(Lane& lane);
    std::string Where(std::uint64_t event, std::uint32_t thread, std::int64_t time) const;

    Faults& faults_;
    Trace trace_;
    bool hasTime_ = false;
    std::vector<Lane> lanes_;
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> threads_;  // by a hash
    std::unordered_map<std::uint64_t, std::uint32_t> flows_;
    std::vector<PointPlace> finishing_;
    std::uint32_t lastThread_ = kNone;
};

}  // namespace trace
