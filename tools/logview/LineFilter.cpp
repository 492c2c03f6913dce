#include "LineFilter.h"

#include <algorithm>
#include <iterator>

#include "common/Printable.h"

namespace logview {
namespace {

// Terminal colours of the levels, ECMA-48: grey, yellow, cyan, plain, red, bold.
constexpr std::string_view kPaint[] = {"\033[90m", "\033[33m", "\033[36m",
                                       "",         "\033[31m", "\033[1m"};
constexpr std::string_view kPlain = "\033[0m";

// A line that opens a message reads "[LEVEL]", tab, " : ", text.
std::optional<std::size_t> LevelOf(std::string_view line) {
    if (!line.starts_with('[')) {
        return std::nullopt;
    }
    const std::size_t close = line.find("]\t : ");
    return close == std::string_view::npos ? std::nullopt : LevelByName(line.substr(1, close - 1));
}

void AppendPrintable(std::string_view line, std::string& out) {
    for (std::size_t tab = 0; (tab = line.find('\t')) != std::string_view::npos;) {
        out += tools::Printable(line.substr(0, tab));
        out += '\t';
        line.remove_prefix(tab + 1);
    }
    out += tools::Printable(line);
}

}  // namespace

std::optional<std::size_t> LevelByName(std::string_view name) {
    const auto same = [](char a, char b) {
        return a == (b >= 'a' && b <= 'z' ? static_cast<char>(b - 'a' + 'A') : b);
    };
    for (std::size_t i = 0; i < std::size(kLevels); ++i) {
        if (std::equal(kLevels[i].begin(), kLevels[i].end(), name.begin(), name.end(), same)) {
            return i;
        }
    }
    return std::nullopt;
}

LineFilter::LineFilter(std::size_t level, std::string text, Look look)
    : level_(level), text_(std::move(text)), look_(look) {}

void LineFilter::Show(std::string_view line, std::string& out) {
    if (const std::optional<std::size_t> level = LevelOf(line)) {
        shown_ = *level >= level_ && line.find(text_) != std::string_view::npos;
        paint_ = look_.isColoured ? kPaint[*level] : std::string_view();
    }
    if (!shown_) {
        return;
    }
    out += paint_;
    if (look_.isPrintable) {
        AppendPrintable(line, out);
    } else {
        out += line;
    }
    out += paint_.empty() ? std::string_view() : kPlain;
    out += '\n';
}

}  // namespace logview
