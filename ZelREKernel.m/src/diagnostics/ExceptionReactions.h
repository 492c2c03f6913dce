#pragma once

// The reactions set for each exception code.

#include <atomic>
#include <cstdint>
#include <mutex>

namespace ZKL {

// Any thread may set and look up at any time; Find takes no lock and allocates nothing, for it runs
// where the process is crashing.
class ExceptionReactions {
public:
    ExceptionReactions() = default;
    ~ExceptionReactions();
    ExceptionReactions(const ExceptionReactions&) = delete;
    ExceptionReactions& operator=(const ExceptionReactions&) = delete;

    // False, with nothing changed, when memory is exhausted.
    bool Set(std::uint32_t code, std::uint32_t reactions);
    // 0 for a code that was never set.
    std::uint32_t Find(std::uint32_t code) const;

private:
    struct Entry {
        std::uint32_t code;
        std::atomic<std::uint32_t> reactions;
        Entry* next;
    };
    static constexpr std::size_t kBuckets = 64;

    static std::size_t BucketOf(std::uint32_t code);
    Entry* FindEntry(std::uint32_t code) const;

    // Entries are added in front and stay.
    std::atomic<Entry*> buckets_[kBuckets] = {};
    std::mutex adding_;
};

}  // namespace ZKL
