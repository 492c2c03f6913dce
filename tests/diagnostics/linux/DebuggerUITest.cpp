#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "support/TempDir.h"

namespace {

// What a child that has a terminal of its own chooses when `typed` is typed there; `shown` is what
// it showed, and what the terminal echoed. 0xFF stands for nothing.
int Choose(const char* typed, std::string& shown) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        _exit(static_cast<int>(ZKL::DebuggerUI({L"one", L"it's \u00fc", L"three"}) & 0xFF));
    }
    char bytes[512];
    shown.clear();
    // Typed before the question, it would be echoed somewhere in the midst of it.
    bool asked = false;
    for (ssize_t got = 0; (got = read(terminal, bytes, sizeof(bytes))) > 0;) {
        shown.append(bytes, static_cast<std::size_t>(got));
        if (!asked && shown.ends_with("none: ")) {
            asked = true;
            EXPECT_EQ(write(terminal, typed, std::strlen(typed)),
                      static_cast<ssize_t>(std::strlen(typed)));
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DebuggerUI, AsksOnTheTerminalWhereThereIsNoDisplay) {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    const struct {
        const char* typed;
        int choice;
    } cases[] = {{"0\n", 0},      {"1\n", 1},     {"2\n", 2},
                 {"3\n", 0xFF},   {"\n", 0xFF},   {"-1\n", 0xFF},
                 {"two\n", 0xFF}, {"\x04", 0xFF}, {"99999999999999999999\n", 0xFF}};
    for (const auto& c : cases) {
        std::string shown;
        EXPECT_EQ(Choose(c.typed, shown), c.choice) << c.typed;
        EXPECT_NE(
            shown.find("Select Your debugger\r\n  0  one\r\n  1  it's \u00fc\r\n  2  three\r\n"
                       "Number, or nothing for none: "),
            std::string::npos)
            << shown;
    }
}

// The dialog program is one of ours, which keeps what it is asked and answers as it is told.
TEST(DebuggerUI, AsksOnTheDisplayFirst) {
    const test::TempDir directory;
    std::ofstream(directory.File("zenity"))
        << "#!/bin/sh\nprintf '%s|' \"$@\" >\"$ZEL_ASKED\"\n$ZEL_ANSWER\n";
    std::filesystem::permissions(directory.File("zenity"), std::filesystem::perms::owner_all);
    const std::string path = std::getenv("PATH");
    setenv("PATH", (directory.Path().string() + ":" + path).c_str(), 1);
    setenv("DISPLAY", ":nowhere", 1);
    setenv("ZEL_ASKED", directory.File("asked").c_str(), 1);
    for (const auto& [answer, choice] : {std::pair("echo 2", 2u),
                                         {"exit 1", 0xFFFFFFFFu},
                                         {"echo 3", 0xFFFFFFFFu},
                                         {"", 0xFFFFFFFFu}}) {
        setenv("ZEL_ANSWER", answer, 1);
        EXPECT_EQ(ZKL::DebuggerUI({L"one", L"it's \u00fc", L"three"}), choice) << answer;
    }
    EXPECT_EQ(
        test::ReadFile(directory.File("asked")),
        "--list|--title=Select Your debugger|--text=|--column=#|--column=Debugger|"
        "--hide-column=1|--print-column=1|--width=320|--height=182|0|one|1|it's \u00fc|2|three|");
    // Where it shows nothing or is not there the terminal is asked.
    std::string shown;
    setenv("ZEL_ANSWER", "eval echo '(zenity:1): cannot open display: :nowhere' >&2; exit 1", 1);
    EXPECT_EQ(Choose("1\n", shown), 1);
    setenv("ZEL_ANSWER", "exit 255", 1);
    EXPECT_EQ(Choose("1\n", shown), 1);
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(Choose("1\n", shown), 1);
    setenv("PATH", path.c_str(), 1);
    unsetenv("DISPLAY");
}

}  // namespace
