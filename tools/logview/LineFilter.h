#pragma once

// Which lines are shown, and in which colour.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace logview {

// The log's levels, lowest first; a line opens with its level in brackets.
inline constexpr std::string_view kLevels[] = {"DEBUG", "WARNING", "PROFILING",
                                               "INFO",  "ERROR",   "RELEASE"};

// The number of a level by its name in any case; none for another text.
std::optional<std::size_t> LevelByName(std::string_view name);

// What lines look like.
struct Look {
    bool isColoured = false;   // by level
    bool isPrintable = false;  // with question marks for what would steer a terminal; tabs stay
};

class LineFilter {
public:
    // Shows the messages whose level is at least `level` and which hold `text` in their first line.
    LineFilter(std::size_t level, std::string text, Look look);
    // Appends the line with its line feed to `out` if it is to be shown. A line without a level
    // goes on with the message before it and shares its fate; before any message it is shown.
    void Show(std::string_view line, std::string& out);

private:
    std::size_t level_;
    std::string text_;
    Look look_;
    bool shown_ = true;
    std::string_view paint_;
};

}  // namespace logview
