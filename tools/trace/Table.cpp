#include "Table.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace trace {
namespace {

// Characters, not bytes, of a UTF-8 text.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace

std::string Table::Text() const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const std::vector<std::string>& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Width(row[i]));
        }
    }
    std::string text;
    for (const std::vector<std::string>& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - Width(row[i]), ' ');
            text += i == 0 ? row[i] + padding : "  " + padding + row[i];
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string Counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

}  // namespace trace
