#include <ZelREKernel/json/ZelFancyJSONWriter.h>
#include <ZelREKernel/json/ZelJSONValue.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Statistics.h"
#include "Table.h"
#include "Tables.h"
#include "Text.h"

namespace trace {
namespace {

std::string AsJson(const std::vector<NameStatistics>& rows, const Names& names) {
    ZelJSONValue root(ZelJSONValue::arrayValue);
    for (std::uint32_t i = 0; i < rows.size(); ++i) {
        ZelJSONValue& row = root[i];
        row["name"] = ZelJSONValue(names[rows[i].name]);
        row["count"] = ZelJSONValue(rows[i].count);
        row["total"] = ZelJSONValue(rows[i].total);
        row["self"] = ZelJSONValue(rows[i].self);
        row["p50"] = ZelJSONValue(rows[i].p50);
        row["p99"] = ZelJSONValue(rows[i].p99);
        row["max"] = ZelJSONValue(rows[i].longest);
    }
    return ZelFancyJSONWriter().Write(root);
}

}  // namespace

std::string SummaryText(const Trace& trace, const Options& options) {
    std::vector<NameStatistics> rows = Summarise(trace);
    Sort(rows, options.sort, trace.names);
    rows.resize(std::min(rows.size(), options.top));
    if (options.json) {
        return AsJson(rows, trace.names);
    }
    Table table({"name", "count", "total", "self", "p50", "p99", "max"});
    for (const NameStatistics& row : rows) {
        table.Add({Printable(trace.names[row.name]), std::to_string(row.count),
                   MillisecondText(row.total), MillisecondText(row.self), MillisecondText(row.p50),
                   MillisecondText(row.p99), MillisecondText(row.longest)});
    }
    return table.Text();
}

}  // namespace trace
