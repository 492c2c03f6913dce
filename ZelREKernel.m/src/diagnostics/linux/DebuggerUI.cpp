#include <unistd.h>

#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "diagnostics/GraphicsDebugger.h"

namespace ZKL {
namespace {

constexpr unsigned kNothing = 0xFFFFFFFF;
// Of the dialog, in pixels, for all names to be seen.
constexpr std::size_t kRowHeight = 24;
constexpr std::size_t kMarginHeight = 110;
constexpr const char* kTitle = "Select Your debugger";

// A wide character is a code point here.
std::string ToUtf8(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t wide : text) {
        const auto code = std::bit_cast<std::uint32_t>(wide);
        const auto add = [&bytes](std::uint32_t byte) { bytes += static_cast<char>(byte); };
        if (code < 0x80) {
            add(code);
        } else if (code < 0x800) {
            add(0xc0 | code >> 6);
            add(0x80 | (code & 0x3f));
        } else if (code < 0x10000) {
            add(0xe0 | code >> 12);
            add(0x80 | (code >> 6 & 0x3f));
            add(0x80 | (code & 0x3f));
        } else {
            add(0xf0 | (code >> 18 & 0x7));
            add(0x80 | (code >> 12 & 0x3f));
            add(0x80 | (code >> 6 & 0x3f));
            add(0x80 | (code & 0x3f));
        }
    }
    return bytes;
}

// One word of the shell, whatever is in it.
std::string Quoted(const std::string& text) {
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

bool HasValue(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && value[0] != '\0';
}

// The number that a line begins with, if it is below `count`.
unsigned ChoiceIn(const char* line, std::size_t count) {
    unsigned number = kNothing;
    const std::string_view text(line);
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number < count ? number : kNothing;
}

// Asks by the dialog program of the desktop; nothing when there is no such program, the choice or
// kNothing when there is.
std::optional<unsigned> AskOnDisplay(const std::vector<std::wstring>& names) {
    if (!HasValue("DISPLAY") && !HasValue("WAYLAND_DISPLAY")) {
        return std::nullopt;
    }
    std::string command =
        "command -v zenity >/dev/null || exit 127; exec zenity --list --title=" + Quoted(kTitle) +
        " --text= --column=# --column=Debugger --hide-column=1 --print-column=1 --width=320 "
        "--height=" +
        std::to_string(kMarginHeight + kRowHeight * names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        command += " " + std::to_string(i) + " " + Quoted(ToUtf8(names[i]));
    }
    command += " 2>/dev/null";
    std::FILE* const answer = popen(command.c_str(), "re");
    if (answer == nullptr) {
        return std::nullopt;
    }
    char line[64] = {};
    const bool answered = std::fgets(line, sizeof(line), answer) != nullptr;
    const int status = pclose(answer);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        return std::nullopt;
    }
    return answered ? ChoiceIn(line, names.size()) : kNothing;
}

unsigned AskOnTerminal(const std::vector<std::wstring>& names) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        return kNothing;
    }
    std::fprintf(stderr, "%s\n", kTitle);
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::fprintf(stderr, "  %zu  %s\n", i, ToUtf8(names[i]).c_str());
    }
    std::fputs("Number, or nothing for none: ", stderr);
    char line[64] = {};
    return std::fgets(line, sizeof(line), stdin) != nullptr ? ChoiceIn(line, names.size())
                                                            : kNothing;
}

}  // namespace

unsigned int DebuggerUI(const std::vector<std::wstring>& names) {
    const std::optional<unsigned> choice = AskOnDisplay(names);
    return choice ? *choice : AskOnTerminal(names);
}

const char* GraphicsDebuggerLibrary(GraphicsDebugger debugger) {
    return debugger == GraphicsDebugger::RenderDoc ? "librenderdoc.so" : "libNGFX_Injection.so";
}

}  // namespace ZKL
