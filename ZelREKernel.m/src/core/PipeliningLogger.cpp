#include "core/PipeliningLogger.h"

#include <new>
#include <string>
#include <string_view>

#include "MekHost/assertion/MekCheck.h"

namespace ZKL {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";

// Cuts what stands before the first of `delimiters` (all of it if there is none) off `text`.
std::string_view CutUntil(std::string_view& text, std::string_view delimiters) {
    const std::string_view cut = text.substr(0, text.find_first_of(delimiters));
    text.remove_prefix(cut.size());
    return cut;
}

std::string_view CutBlanks(std::string_view& text) {
    const std::size_t end = text.find_first_not_of(kBlanks);
    const std::string_view cut = text.substr(0, end);
    text.remove_prefix(cut.size());
    return cut;
}

}  // namespace

void PipeliningLogger::Log(FLogLevel level, const char* format, std::va_list arguments) {
    if (!IsEnabled()) {
        return;
    }
    if (!format) {
        Check_Pointer_Failed__("format", __FILE__, __LINE__);
        return;
    }
    try {
        std::string indented;
        for (std::string_view text = format; !text.empty();) {
            std::string_view line = CutUntil(text, "\n");
            const bool hasLineFeed = !text.empty();
            text.remove_prefix(hasLineFeed ? 1 : 0);
            if (AppendLine(line, indented) && hasLineFeed) {
                indented += '\n';
            }
        }
        if (!indented.empty()) {
            InternalLog(level, indented.c_str(), arguments);
        }
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the message is dropped
    }
}

bool PipeliningLogger::AppendLine(std::string_view line, std::string& indented) {
    bool hasText = false;
    bool hasWords = false;
    std::string_view blanks = CutBlanks(line);
    while (!line.empty()) {
        const std::string_view word = CutUntil(line, kBlanks);
        if (Obey(word)) {
            hasWords = true;
            CutBlanks(line);
            blanks = line.empty() ? line : blanks;
            continue;
        }
        if (!hasText) {
            indented.append(indentation_.load(std::memory_order_relaxed), '\t');
        }
        hasText = true;
        indented.append(blanks).append(word);
        blanks = CutBlanks(line);
    }
    indented.append(blanks);
    return hasText || !hasWords;
}

bool PipeliningLogger::Obey(std::string_view word) {
    if (word == "pushtab") {
        indentation_.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
    if (word != "poptab") {
        return false;
    }
    std::uint32_t steps = indentation_.load(std::memory_order_relaxed);
    while (steps > 0 &&
           !indentation_.compare_exchange_weak(steps, steps - 1, std::memory_order_relaxed)) {
    }
    return true;
}

}  // namespace ZKL
