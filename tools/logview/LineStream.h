#pragma once

// Cuts the received bytes into lines.

#include <string>
#include <string_view>
#include <vector>

namespace logview {

// What a log output sends last, so that a viewer knows that the stream has ended.
inline constexpr std::string_view kEndMark = "--KILL_SOCKET--";

class LineStream {
public:
    // Takes what arrived and returns the lines that are now whole, each without its line feed. The
    // views live until the next call.
    std::vector<std::string_view> Push(std::string_view bytes);
    // The connection has ended: returns the last line, which had no line feed, without the end
    // mark. `ended` tells whether the mark stood there. Only at the very end is it one: a message
    // may quote it.
    std::string Finish(bool& ended);

private:
    std::string bytes_;
    std::size_t taken_ = 0;    // bytes of bytes_ that were returned as lines
    std::size_t scanned_ = 0;  // bytes of bytes_ known to hold no other line feed
};

}  // namespace logview
