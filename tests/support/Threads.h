#pragma once

// The same work on several threads at once.

#include <thread>
#include <vector>

namespace test {

// The numbers of threads that a test of shared state goes through.
inline constexpr int kThreadCounts[] = {1, 2, 8, 64};

// Calls `work(0)` to `work(count - 1)`, each on a thread of its own, and returns when all have.
template <typename Work>
void OnThreads(int count, Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&work, i] { work(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace test
