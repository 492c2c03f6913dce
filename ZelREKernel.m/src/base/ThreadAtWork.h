#pragma once

// Counts the library's threads that run jobs of the host.

namespace ZKL {

// Held from before such a thread begins until it has ended.
class ThreadAtWork {
public:
    ThreadAtWork() noexcept;
    ~ThreadAtWork();
    ThreadAtWork(const ThreadAtWork&) = delete;
    ThreadAtWork& operator=(const ThreadAtWork&) = delete;

    // Whether there is any.
    static bool Exists() noexcept;
};

}  // namespace ZKL
