#pragma once

// Counts the library's threads that run jobs of the host.

namespace ZKL {

// Held by such a thread while it runs.
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
