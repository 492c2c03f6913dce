#include "Statistics.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace trace {
namespace {

struct SortKey {
    std::string_view name;
    std::int64_t (*value)(const NameStatistics& row);
};

constexpr SortKey kSortKeys[] = {
    {"total", [](const NameStatistics& row) { return row.total; }},
    {"self", [](const NameStatistics& row) { return row.self; }},
    {"count", [](const NameStatistics& row) { return static_cast<std::int64_t>(row.count); }},
    {"p50", [](const NameStatistics& row) { return row.p50; }},
    {"p99", [](const NameStatistics& row) { return row.p99; }},
    {"max", [](const NameStatistics& row) { return row.longest; }},
    {"name", nullptr},
};

const SortKey* FindSortKey(std::string_view name) {
    const auto* const key =
        std::find_if(std::begin(kSortKeys), std::end(kSortKeys),
                     [name](const SortKey& candidate) { return candidate.name == name; });
    return key == std::end(kSortKeys) ? nullptr : key;
}

// A trace may lie about its times; its sums then stay the largest or smallest number.
std::int64_t Sum(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return !__builtin_add_overflow(a, b, &sum) ? sum : b < 0 ? INT64_MIN : INT64_MAX;
}

}  // namespace

std::int64_t Percentile(std::vector<std::int64_t>& durations, unsigned percent) {
    const std::size_t rank = (durations.size() * percent + 99) / 100;
    const auto place = durations.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::nth_element(durations.begin(), place, durations.end());
    return *place;
}

std::vector<NameStatistics> Summarise(const Trace& trace) {
    std::vector<std::vector<std::int64_t>> durations(trace.names.Size());
    std::vector<NameStatistics> rows(trace.names.Size());
    for (const Slice& slice : trace.slices) {
        NameStatistics& row = rows[slice.name];
        ++row.count;
        row.total = Sum(row.total, slice.Duration());
        row.self = Sum(row.self, slice.Self());
        row.longest = std::max(row.longest, slice.Duration());
        durations[slice.name].push_back(slice.Duration());
    }
    for (std::uint32_t name = 0; name < rows.size(); ++name) {
        rows[name].name = name;
        if (rows[name].count > 0) {
            rows[name].p50 = Percentile(durations[name], 50);
            rows[name].p99 = Percentile(durations[name], 99);
        }
    }
    std::erase_if(rows, [](const NameStatistics& row) { return row.count == 0; });
    Sort(rows, "name", trace.names);
    return rows;
}

bool IsSortKey(std::string_view key) {
    return FindSortKey(key) != nullptr;
}

void Sort(std::vector<NameStatistics>& rows, std::string_view key, const Names& names) {
    const SortKey* const by = FindSortKey(key);
    std::stable_sort(
        rows.begin(), rows.end(), [&](const NameStatistics& a, const NameStatistics& b) {
            return by != nullptr && by->value != nullptr ? by->value(a) > by->value(b)
                                                         : names[a.name] < names[b.name];
        });
}

}  // namespace trace
