#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "ZelREKernel/core/vLogger.h"

namespace ZKL {

// The logger of the pipelining channel: plain text with an indentation that the messages steer.
//
// The format text is split into words at white space. The words "pushtab" and "poptab" raise and
// lower the indentation (never below 0) of the lines that begin after them, and are removed: with
// the blanks that follow, or at the end of a line with those before; a line of such words alone
// goes altogether. Every other line of the format gets one tab per step of indentation in front; a
// message begins a line. The words act whatever the level of their message, so that they stay in
// pairs, but not while the channel is disabled. Arguments are not searched for them.
class PipeliningLogger final : public vLogger {
public:
    using vLogger::vLogger;

    void Log(FLogLevel level, const char* format, std::va_list arguments) override
        ZKL_PRINTF_FORMAT(3, 0);

private:
    // Appends the line, indented and without the words that steer; false when it was made of
    // nothing else.
    bool AppendLine(std::string_view line, std::string& indented);
    // Does what the word says; false when it is plain text.
    bool Obey(std::string_view word);

    // Counts only; the logger's lock orders the text. Hence relaxed order throughout.
    std::atomic<std::uint32_t> indentation_{0};
};

}  // namespace ZKL
