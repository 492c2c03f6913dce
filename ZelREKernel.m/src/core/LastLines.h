#pragma once

// What each log channel said last, kept for the crash report: text that waits in a buffer or a
// queue when the process dies would be lost otherwise.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace ZKL {

inline constexpr std::size_t kLogChannels = 7;

class LastLines {
public:
    static constexpr std::size_t kBytes = 4096;
    using Copy = char[kBytes];

    constexpr explicit LastLines(const char* name) : name_(name) {}

    const char* Name() const { return name_; }
    // One thread at a time: under the logger's lock.
    void Add(std::string_view text) {
        text.remove_prefix(text.size() - std::min(text.size(), kBytes));
        const std::size_t total = total_.load(std::memory_order_relaxed);
        const std::size_t at = total % kBytes;
        const std::size_t first = std::min(text.size(), kBytes - at);
        std::memcpy(text_ + at, text.data(), first);
        std::memcpy(text_, text.data() + first, text.size() - first);
        // Release: a reader that sees the new total sees its text.
        total_.store(total + text.size(), std::memory_order_release);
    }
    // Copies the whole lines that are left. From another thread than the one that adds, a line that
    // is written meanwhile may come out mixed. Safe in a signal handler.
    std::string_view Read(Copy& copy) const;

private:
    const char* name_;
    std::atomic<std::size_t> total_{0};
    char text_[kBytes] = {};
};

// The lines of the channel with this number in vLoggerManager::Type.
LastLines& LastLinesOf(std::size_t channel);

}  // namespace ZKL
