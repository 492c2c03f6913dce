#pragma once

// What the stages of a frame took. Any thread may add; reading is for when the frame is done.

#include <array>
#include <atomic>
#include <cstdint>

#include "ZelREKernel/base/vTimer.h"

namespace frame {

enum class Stage : std::uint32_t { Animate, Transform, Shadow, Bin, Tiles, Resolve, Present };
constexpr std::uint32_t kStageCount = 7;

constexpr std::uint32_t Index(Stage stage) {
    return static_cast<std::uint32_t>(stage);
}

const char* StageName(Stage stage);

struct StageTime {
    double spanMs = 0.0;  // from the start of the first job to the end of the last
    double workMs = 0.0;  // the jobs' times added up
};
using StageTimes = std::array<StageTime, kStageCount>;

class StageClock {
public:
    using Instant = ZKL::vTimer::time_point;

    void Reset();
    void Add(Stage stage, Instant start, Instant end);
    StageTimes Read() const;

private:
    struct Entry {
        std::atomic<std::int64_t> first;
        std::atomic<std::int64_t> last;
        std::atomic<std::int64_t> work;
    };

    std::array<Entry, kStageCount> entries_{};
};

}  // namespace frame
