#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "core/DebuggerAttached.h"
#include "diagnostics/linux/RawText.h"

namespace ZKL {
namespace {

// What Debian calls the user's terminal.
constexpr const char* kStandardCommand = "x-terminal-emulator -e gdb -p %d";
// What means nothing else to the shell.
constexpr std::string_view kPlain =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._+-";

// The command with this process's number for each "%d".
RawText<4096> MakeCommand() {
    const char* const chosen = std::getenv("ZelDebuggerCommand");
    std::string_view pattern = chosen != nullptr && chosen[0] != '\0' ? chosen : kStandardCommand;
    RawText<4096> command;
    // The shell would complain of a program that is not there.
    const std::string_view program = pattern.substr(0, pattern.find(' '));
    if (program.find_first_not_of(kPlain) == std::string_view::npos) {
        command += "command -v ";
        command += program;
        command += " >/dev/null || exit 127; ";
    }
    command += "exec ";
    for (std::size_t at = 0; (at = pattern.find("%d")) != std::string_view::npos;) {
        command += pattern.substr(0, at);
        command += static_cast<std::uint64_t>(getpid());
        pattern.remove_prefix(at + 2);
    }
    command += pattern;
    return command;
}

// The process that runs the command; negative when none could be made.
pid_t Start(const char* command) {
    const char* const arguments[] = {"sh", "-c", command, nullptr};
    const pid_t shell = vfork();
    if (shell == 0) {
        // execv does not change what the pointers point to; its type is older than const.
        execv("/bin/sh", const_cast<char* const*>(arguments));
        _exit(127);
    }
    return shell;
}

}  // namespace

void AttachDebugger() {
    if (IsDebuggerAttached()) {
        return;
    }
    // A debugger is no child of a process that it watches.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const pid_t debugger = Start(MakeCommand().CString());
    if (debugger < 0) {
        return;
    }
    while (!IsDebuggerAttached()) {
        if (waitpid(debugger, nullptr, WNOHANG) != 0) {
            return;  // it has ended
        }
        const timespec pause = {0, 20'000'000};
        nanosleep(&pause, nullptr);
    }
}

}  // namespace ZKL
