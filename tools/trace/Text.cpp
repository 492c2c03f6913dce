#include "Text.h"

#include <cstdio>
#include <cstdlib>

namespace trace {

std::string Quoted(std::string_view text) {
    constexpr std::size_t kLongest = 80;
    return '"' + Printable(text.substr(0, kLongest)) + (text.size() > kLongest ? "...\"" : "\"");
}

std::string MicrosecondText(std::int64_t nanoseconds) {
    std::string text = std::to_string(nanoseconds / 1000);
    if (const std::int64_t rest = std::abs(nanoseconds % 1000); rest != 0) {
        const bool lostSign = nanoseconds < 0 && nanoseconds > -1000;
        text = (lostSign ? "-" : "") + text + "." + std::to_string(1000 + rest).substr(1);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text;
}

std::string MillisecondText(std::int64_t nanoseconds) {
    char text[48];
    std::snprintf(text, sizeof(text), "%.3f", static_cast<double>(nanoseconds) / 1e6);
    return text;
}

}  // namespace trace
