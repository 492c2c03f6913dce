#pragma once

// The profiler's names: texts that got a 32-bit handle once and keep it.
//
// Register and the lock are for any thread. LookUp takes no lock: entries never move and are
// complete before the count that admits them is published.

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "ZelREKernel/base/vSlimLock.h"

namespace ZKL {

class NameTable {
public:
    struct Name {
        // Zero-terminated and readable in whole blocks of kBlock bytes, so that a writer can copy
        // it block by block without looking at its length first.
        const char* text;
        std::uint32_t length;
    };

    static constexpr std::uint32_t kBlock = 16;

    // Handles that the profiler itself uses; the table begins with them.
    enum EBuiltIn : std::uint32_t {
        eKernel,
        eFlow,
        eFrameCategory,
        eFrame,
        eName,
        eProcessName,
        eThreadName,
        eThreadSortIndex,
        eStartFlushProfiler,
        eEndFlushProfiler,
        eBuiltInCount
    };

    // Throws std::bad_alloc.
    NameTable();
    ~NameTable();
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    // Throws std::bad_alloc and leaves the table as it was.
    std::uint32_t Register(std::string_view text);
    void lock() noexcept { lock_.lock(); }
    void unlock() noexcept { lock_.unlock(); }

    Name LookUp(std::uint32_t id) const noexcept {
        // Acquire pairs with the release in _Append: the entries below the count are complete.
        if (id >= count_.load(std::memory_order_acquire)) {
            return {kEmpty, 0};
        }
        const std::uint32_t segment = _Segment(id);
        return segments_[segment].load(std::memory_order_relaxed)[_Offset(id, segment)];
    }

private:
    // Segment k holds kFirst << k entries, so that none ever moves.
    static constexpr std::uint32_t kFirst = 64;
    static constexpr std::uint32_t kSegments = 26;
    alignas(kBlock) static constexpr char kEmpty[kBlock] = {};

    static std::uint32_t _Segment(std::uint32_t id) noexcept {
        return static_cast<std::uint32_t>(std::bit_width(std::uint64_t{id} + kFirst)) -
               static_cast<std::uint32_t>(std::bit_width(std::uint64_t{kFirst}));
    }
    static std::uint64_t _Offset(std::uint32_t id, std::uint32_t segment) noexcept {
        return std::uint64_t{id} + kFirst - (std::uint64_t{kFirst} << segment);
    }
    std::uint32_t _Append(std::string_view text);
    Name* _EnsureSegment(std::uint32_t segment);

    vSlimLock lock_;
    std::atomic<std::uint32_t> count_{0};
    std::array<std::atomic<Name*>, kSegments> segments_{};
    // The keys view the texts of the entries.
    std::unordered_map<std::string_view, std::uint32_t> ids_;
};

}  // namespace ZKL
