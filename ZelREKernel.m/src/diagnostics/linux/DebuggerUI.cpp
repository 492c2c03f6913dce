#include <MekHost/MekStatus.h>
#include <MekHost/process/MekEnvironment.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string_view>

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
    std::string value;
    return MekGetEnv(variable, &value) == kMekOk && !value.empty();
}

// The number that a line begins with, if it is below `count`.
unsigned ChoiceIn(const char* line, std::size_t count) {
    unsigned number = kNothing;
    const std::string_view text(line);
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number < count ? number : kNothing;
}

// A shell that runs a command with no descriptor of ours.
class Shell {
public:
    explicit Shell(const char* command) {
        int ends[2] = {};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        const char* const arguments[] = {"sh", "-c", command, nullptr};
        // The type of arguments is older than const; nobody changes what they point to.
        if (posix_spawn(&shell_, "/bin/sh", &actions, nullptr, const_cast<char* const*>(arguments),
                        environ) != 0) {
            shell_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
        if (output_ == nullptr) {
            close(ends[0]);
        }
    }
    ~Shell() {
        if (output_ != nullptr) {
            std::fclose(output_);
        }
        while (shell_ > 0 && waitpid(shell_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // The next line that it says; false at the end.
    bool Read(char* line, int room) {
        return output_ != nullptr && std::fgets(line, room, output_) != nullptr;
    }

private:
    pid_t shell_ = -1;
    std::FILE* output_ = nullptr;
};

std::string DialogCommand(const std::vector<std::wstring>& names) {
    std::string command =
        "command -v zenity >/dev/null || exit; zenity --list --title=" + Quoted(kTitle) +
        " --text= --column=# --column=Debugger --hide-column=1 --print-column=1 --width=320 "
        "--height=" +
        std::to_string(kMarginHeight + kRowHeight * names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        command += " " + std::to_string(i) + " " + Quoted(ToUtf8(names[i]));
    }
    // Not by the shell's own status, which a host may take that waits for any child.
    return command + " 2>&1; echo =$?";
}

// Asks by the dialog program of the desktop; nothing when there is no such program or it shows
// nothing, the choice or kNothing when the user was asked.
std::optional<unsigned> AskOnDisplay(const std::vector<std::wstring>& names) {
    if (!HasValue("DISPLAY") && !HasValue("WAYLAND_DISPLAY")) {
        return std::nullopt;
    }
    Shell shell(DialogCommand(names).c_str());
    unsigned choice = kNothing;
    bool shown = true;
    for (char line[512]; shell.Read(line, sizeof(line));) {
        const std::string_view text(line);
        if (text == "=0\n" || (shown && text == "=1\n")) {
            return choice;  // 1 is a dismissal
        }
        // A display that is no more ends it with 1, too.
        shown = shown && text.find("open display") == std::string_view::npos;
        if (const unsigned number = ChoiceIn(line, names.size()); number != kNothing) {
            choice = number;
        }
    }
    return std::nullopt;
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
