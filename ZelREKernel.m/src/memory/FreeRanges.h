#pragma once

// The free ranges of a coalescent allocator, in rising order and, once somebody asks for it, sorted
// by length as well. The second order is only an index: without memory to keep it up to date it is
// dropped and built again when it is next asked for.

#include <cstdint>
#include <memory>

#include "memory/WordTree.h"

namespace ZKL {

class vFreeRanges {
public:
    using Place = WordTree::Place;
    struct Range {
        std::uint32_t begin;
        std::uint32_t end;
        std::uint32_t Length() const noexcept { return end - begin; }
    };

    vFreeRanges() = default;
    vFreeRanges(const vFreeRanges& other) : ranges_(other.ranges_) {}
    vFreeRanges& operator=(const vFreeRanges&) = delete;

    std::uint32_t Size() const noexcept { return ranges_.Size(); }
    // All in order: First, then Next with the same length, which is the least to be found.
    bool First(Place& place, std::uint32_t length) const noexcept {
        return ranges_.First(place, length);
    }
    bool Next(Place& place, std::uint32_t length) const noexcept {
        return ranges_.Next(place, length);
    }
    Range At(const Place& place) const noexcept;
    Place Select(std::uint32_t index) const noexcept { return ranges_.Select(index); }
    // The shortest range of `length` or more, the lowest of several. False without one, or without
    // memory to look for it.
    bool BestFit(Place& place, std::uint32_t length);

    // Takes `count` identifiers from the beginning of a range and returns the first.
    std::uint32_t Take(const Place& place, std::uint32_t count) noexcept;
    // Adds a range and returns the index that is now its hint. Throws std::bad_alloc.
    std::uint32_t Add(std::uint32_t begin, std::uint32_t end);
    // Makes this the only range; allocates nothing.
    void Reset(std::uint32_t begin, std::uint32_t end);

private:
    void Replace(const Place& place, Range range) noexcept;
    void Erase(const Place& place) noexcept;
    void BuildBySize();
    void AddBySize(Range range) noexcept;
    void DropBySize(Range range) noexcept;

    WordTree ranges_;                   // pairs of begin and end
    std::unique_ptr<WordTree> bySize_;  // pairs of length and begin; null: not built
};

}  // namespace ZKL
