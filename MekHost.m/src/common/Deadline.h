#pragma once

// The end of a wait, measured on the steady clock so that setting the wall clock changes nothing.

#include <algorithm>
#include <chrono>
#include <limits>

namespace mek {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    // Whether `timeoutMs` is a time-out at all: milliseconds, or -1 for ever.
    static bool IsValid(int timeoutMs) { return timeoutMs >= -1; }

    explicit Deadline(int timeoutMs)
        : forever_(timeoutMs < 0), at_(Clock::now() + std::chrono::milliseconds(timeoutMs)) {}

    bool IsForever() const { return forever_; }
    bool HasPassed() const { return !forever_ && Clock::now() >= at_; }
    Clock::time_point At() const { return at_; }
    // What is left in milliseconds, rounded up so that a wait of that length does not end early; -1
    // for ever.
    int RemainingMs() const {
        if (forever_) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(at_ - Clock::now()).count();
        return static_cast<int>(
            std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
    }

private:
    bool forever_;
    Clock::time_point at_;
};

}  // namespace mek
