#include "StageClock.h"

#include <functional>
#include <limits>

namespace frame {
namespace {

// The readings are read after the frame, whose end orders them: relaxed order will do here.
template <typename Better>
void Improve(std::atomic<std::int64_t>& best, std::int64_t value, Better better) {
    std::int64_t seen = best.load(std::memory_order_relaxed);
    while (better(value, seen) &&
           !best.compare_exchange_weak(seen, value, std::memory_order_relaxed)) {
    }
}

}  // namespace

const char* StageName(Stage stage) {
    static constexpr const char* kNames[kStageCount] = {"animate", "transform", "shadow", "bin",
                                                        "tiles",   "resolve",   "present"};
    return kNames[Index(stage)];
}

void StageClock::Reset() {
    for (Entry& entry : entries_) {
        entry.first.store(std::numeric_limits<std::int64_t>::max(), std::memory_order_relaxed);
        entry.last.store(std::numeric_limits<std::int64_t>::min(), std::memory_order_relaxed);
        entry.work.store(0, std::memory_order_relaxed);
    }
}

void StageClock::Add(Stage stage, Instant start, Instant end) {
    Entry& entry = entries_[Index(stage)];
    Improve(entry.first, start.time_since_epoch().count(), std::less<>());
    Improve(entry.last, end.time_since_epoch().count(), std::greater<>());
    entry.work.fetch_add((end - start).count(), std::memory_order_relaxed);
}

StageTimes StageClock::Read() const {
    StageTimes times;
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        const std::int64_t work = entries_[i].work.load(std::memory_order_relaxed);
        if (work != 0) {
            times[i].workMs = static_cast<double>(work) / 1e6;
            times[i].spanMs =
                static_cast<double>(entries_[i].last.load(std::memory_order_relaxed) -
                                    entries_[i].first.load(std::memory_order_relaxed)) /
                1e6;
        }
    }
    return times;
}

}  // namespace frame
