#pragma once

// Waits for a state instead of a time: tests say what must become true, and only a test that would
// fail anyway waits for the limit.

#include <chrono>
#include <thread>

namespace test {

// Returns whether `predicate` became true within a limit that is generous for a loaded machine.
template <typename Predicate>
bool WaitUntil(Predicate predicate) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace test
