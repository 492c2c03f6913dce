#pragma once

// What is wrong with a trace: all of it is counted, the first lines are kept.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trace {

class Faults {
public:
    explicit Faults(std::size_t limit) : limit_(limit) {}

    // `line` makes the text of a fault; it is called only for those that are kept, so that a trace
    // full of faults costs no more than a good one.
    template <typename Line>
    void Add(Line line) {
        if (count_++ < limit_) {
            lines_.push_back(line());
        }
    }

    std::uint64_t Count() const { return count_; }
    const std::vector<std::string>& Lines() const { return lines_; }

private:
    std::size_t limit_;
    std::uint64_t count_ = 0;
    std::vector<std::string> lines_;
};

}  // namespace trace
