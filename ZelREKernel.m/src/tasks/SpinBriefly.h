#pragma once

// A short wait awake before a sleep: an answer that is under way arrives in less time than a sleep
// and a wake-up take.

#include <thread>

namespace ZKL::vTaskDetail {

// Gives `done` a few microseconds to become true; returns its last answer. With a single processor
// nothing can change meanwhile, so it does not spin.
template <typename Done>
bool SpinBriefly(Done done) {
    static const int s_spins = std::thread::hardware_concurrency() > 1 ? 400 : 0;
    for (int spin = 0; spin < s_spins; ++spin) {
        if (done()) {
            return true;
        }
        __builtin_ia32_pause();
    }
    return done();
}

}  // namespace ZKL::vTaskDetail
