#pragma once

// What the slices of each name took.

#include <cstdint>
#include <string_view>
#include <vector>

#include "Trace.h"

namespace trace {

struct NameStatistics {
    std::uint32_t name = 0;
    std::uint64_t count = 0;
    // Nanoseconds. A slice inside another one of its name counts in the total of both.
    std::int64_t total = 0;
    std::int64_t self = 0;  // without the slices inside
    std::int64_t p50 = 0;   // the shortest duration that at least half of the slices keep to
    std::int64_t p99 = 0;   // at least 99 of 100
    std::int64_t longest = 0;
};

// One entry for each name of a slice, by name. O(slices).
std::vector<NameStatistics> Summarise(const Trace& trace);

// The keys of Sort: "total", "self", "count", "p50", "p99", "max", "name".
bool IsSortKey(std::string_view key);
// Largest first, by name alphabetically. Equals stay as they are.
void Sort(std::vector<NameStatistics>& rows, std::string_view key, const Names& names);

// The nearest-rank percentile, 1 to 100, of at least one duration; reorders them. O(n).
std::int64_t Percentile(std::vector<std::int64_t>& durations, unsigned percent);

}  // namespace trace
