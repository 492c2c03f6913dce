#pragma once

// A short wait awake before a sleep: an answer that is under way arrives in less time than a sleep
// and a wake-up take. A thread that waits in vain gives it up soon, since whoever it waits for may
// need this very processor, and takes it up again when a sleep turns out short.
//
// For one thread.

#include <algorithm>
#include <chrono>
#include <thread>

namespace ZKL::vTaskDetail {

class vPatience {
public:
    // Gives `done` a few microseconds at most to become true; returns its last answer. With a
    // single processor nothing can change meanwhile, so it does not spin.
    template <typename Done>
    bool SpinUntil(Done done) {
        static const bool s_isAlone = std::thread::hardware_concurrency() <= 1;
        for (int spin = s_isAlone ? spins_ : 0; spin < spins_; ++spin) {
            if (done()) {
                return true;
            }
            __builtin_ia32_pause();
        }
        return done();
    }

    // Runs the sleep that follows a spin in vain, and learns from how long it took.
    template <typename Sleep>
    void Watch(Sleep sleep) {
        const auto start = std::chrono::steady_clock::now();
        sleep();
        const bool wasShort = std::chrono::steady_clock::now() - start < kShortSleep;
        spins_ = wasShort ? kMost : std::max(spins_ / 2, kLeast);
    }

private:
    static constexpr int kMost = 400;
    static constexpr int kLeast = 8;
    // What a sleep and the way back take, about: a shorter one need not have been.
    static constexpr std::chrono::microseconds kShortSleep{50};

    int spins_ = kMost;
};

}  // namespace ZKL::vTaskDetail
