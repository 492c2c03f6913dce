#include <ZelREKernel/json/ZelFancyJSONWriter.h>
#include <ZelREKernel/json/ZelJSONValue.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string_view>
#include <vector>

#include "Statistics.h"
#include "Table.h"
#include "Tables.h"
#include "Text.h"

namespace trace {
namespace {

// What one name took in one trace, per frame if that was asked for.
struct Share {
    double count = 0;
    std::int64_t total = 0;
    std::int64_t p50 = 0;
    std::int64_t p99 = 0;
};

struct Row {
    std::string_view name;
    Share older;
    Share newer;

    std::int64_t Change() const { return newer.total - older.total; }
};

void Collect(const Trace& trace, bool perFrame, Share Row::*side,
             std::map<std::string_view, Row>& rows) {
    const double parts =
        perFrame ? static_cast<double>(std::max<std::size_t>(trace.frames.size(), 1)) : 1;
    for (const NameStatistics& name : Summarise(trace)) {
        const std::string_view text = trace.names[name.name];
        Row& row = rows[text];
        row.name = text;
        row.*side = {.count = static_cast<double>(name.count) / parts,
                     .total = std::llround(static_cast<double>(name.total) / parts),
                     .p50 = name.p50,
                     .p99 = name.p99};
    }
}

std::vector<Row> Compare(const Trace& older, const Trace& newer, bool perFrame) {
    std::map<std::string_view, Row> byName;
    Collect(older, perFrame, &Row::older, byName);
    Collect(newer, perFrame, &Row::newer, byName);
    std::vector<Row> rows;
    for (const auto& [name, row] : byName) {
        rows.push_back(row);
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return std::abs(a.Change()) > std::abs(b.Change());
    });
    return rows;
}

std::string CountText(double count) {
    char text[48];
    std::snprintf(text, sizeof(text), count == std::floor(count) ? "%.0f" : "%.1f", count);
    return text;
}

std::string PercentText(const Row& row) {
    if (row.older.total == 0) {
        return row.newer.total == 0 ? "0.0%" : "new";
    }
    char text[48];
    std::snprintf(text, sizeof(text), "%+.1f%%",
                  100 * static_cast<double>(row.Change()) / static_cast<double>(row.older.total));
    return row.newer.count == 0 ? "gone" : text;
}

std::string SignedText(std::int64_t nanoseconds) {
    return (nanoseconds > 0 ? "+" : "") + MillisecondText(nanoseconds);
}

ZelJSONValue AsJson(const Share& share) {
    ZelJSONValue value;
    value["count"] = ZelJSONValue(share.count);
    value["total"] = ZelJSONValue(share.total);
    value["p50"] = ZelJSONValue(share.p50);
    value["p99"] = ZelJSONValue(share.p99);
    return value;
}

}  // namespace

std::string DiffText(const Trace& older, const Trace& newer, const Options& options) {
    std::vector<Row> rows = Compare(older, newer, options.perFrame);
    rows.resize(std::min(rows.size(), options.top));
    if (options.json) {
        ZelJSONValue root(ZelJSONValue::arrayValue);
        for (std::uint32_t i = 0; i < rows.size(); ++i) {
            root[i]["name"] = ZelJSONValue(rows[i].name);
            root[i]["old"] = AsJson(rows[i].older);
            root[i]["new"] = AsJson(rows[i].newer);
        }
        return ZelFancyJSONWriter().Write(root);
    }
    Table table({"name", "count old", "new", "total old", "new", "change", "", "p50 old", "new",
                 "p99 old", "new"});
    for (const Row& row : rows) {
        table.Add({Printable(row.name), CountText(row.older.count), CountText(row.newer.count),
                   MillisecondText(row.older.total), MillisecondText(row.newer.total),
                   SignedText(row.Change()), PercentText(row), MillisecondText(row.older.p50),
                   MillisecondText(row.newer.p50), MillisecondText(row.older.p99),
                   MillisecondText(row.newer.p99)});
    }
    return table.Text();
}

}  // namespace trace
