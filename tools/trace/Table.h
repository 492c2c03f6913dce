#pragma once

// A table for the terminal: columns as wide as they need to be.

#include <string>
#include <string_view>
#include <vector>

namespace trace {

class Table {
public:
    // The first column stands to the left, the others to the right.
    explicit Table(std::vector<std::string> heads) : rows_{std::move(heads)} {}
    void Add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    // The lines, without blanks at their ends.
    std::string Text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

// "1 slice", "2 slices".
std::string Counted(std::uint64_t count, std::string_view noun);

}  // namespace trace
