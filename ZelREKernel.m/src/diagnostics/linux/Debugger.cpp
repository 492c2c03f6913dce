#include <MekHost/process/MekEnvironment.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <new>
#include <string>

#include "core/DebuggerAttached.h"
#include "diagnostics/CrashFilter.h"
#include "diagnostics/linux/RawText.h"

namespace ZKL {
namespace {

// What Debian calls the user's terminal.
constexpr const char* kStandardCommand = "x-terminal-emulator -e gdb -p %d";
constexpr int kPollMs = 20;
// A person may have to answer for what the command has left the start to.
constexpr int kGracePolls = 60'000 / kPollMs;
// Where the shell says how the command has ended; shells know files of one digit.
constexpr int kStatusFile = 9;
// What means nothing else to the shell.
constexpr std::string_view kPlain =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._+-";

constexpr std::size_t kMostOfCommand = 4096;
using Command = RawText<kMostOfCommand>;

// What the user wants started, with "%d" for this process's number.
Command ChooseCommand(bool crashing) {
    constexpr const char* kVariable = "ZelDebuggerCommand";
    Command command;
    if (crashing) {
        // The lock of the environment may be what the crashed thread holds.
        const char* const chosen = std::getenv(kVariable);
        command += chosen != nullptr ? chosen : "";
    } else {
        try {
            std::string chosen;
            MekGetEnv(kVariable, &chosen);
            command += chosen;
        } catch (const std::bad_alloc&) {
            // The standard command is as good as any then.
        }
    }
    if (command.View().empty()) {
        command += kStandardCommand;
    }
    return command;
}

// The command with this process's number for each "%d"; its exit status goes to kStatusFile.
Command CompleteCommand(std::string_view pattern) {
    Command command;
    // The shell would complain of a program that is not there.
    const std::string_view program = pattern.substr(0, pattern.find(' '));
    if (program.find_first_not_of(kPlain) == std::string_view::npos) {
        command += "command -v ";
        command += program;
        command += " >/dev/null || exit; ";
    }
    command += "( ";
    for (std::size_t at = 0; (at = pattern.find("%d")) != std::string_view::npos;) {
        command += pattern.substr(0, at);
        command += static_cast<std::uint64_t>(getpid());
        pattern.remove_prefix(at + 2);
    }
    command += pattern;
    command += "\n) 9>&-; echo $? >&9 2>/dev/null";
    return command;
}

// Starts a shell for the command, whose status it writes to `statusFile`, and nothing else of ours:
// what it starts may outlive this process. The signals are as a program expects them.
bool StartShell(const char* command, int statusFile) {
    if (dup2(statusFile, kStatusFile) < 0 || fcntl(kStatusFile, F_SETFD, 0) != 0) {
        return false;
    }
    syscall(SYS_close_range, STDERR_FILENO + 1, kStatusFile - 1, 0);
    syscall(SYS_close_range, kStatusFile + 1, ~0U, 0);
    sigset_t signals;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGCHLD);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const char* const arguments[] = {"sh", "-c", command, nullptr};
    pid_t shell = 0;
    // The type of arguments is older than const; nobody changes what they point to.
    return posix_spawn(&shell, "/bin/sh", nullptr, &attributes, const_cast<char* const*>(arguments),
                       environ) == 0;
}

// Runs the command in a process whose parent ends at once, so that its end, however late, leaves
// nothing in this process. Its exit status comes as text to the file returned; negative when
// nothing could be started.
int Start(const char* command) {
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return -1;
    }
    const pid_t parent = vfork();
    if (parent == 0) {
        _exit(StartShell(command, ends[1]) ? 0 : 1);
    }
    close(ends[1]);
    while (parent > 0 && waitpid(parent, nullptr, 0) < 0 && errno == EINTR) {
    }
    return ends[0];
}

// A command that fails brings no debugger. One that ends well may have asked another process for
// it, as terminals do.
bool WaitForDebugger(int result) {
    bool ended = false;
    for (int polls = 0; polls < kGracePolls; polls += ended ? 1 : 0) {
        if (IsDebuggerAttached()) {
            return true;
        }
        char status = '1';
        if (!ended && (read(result, &status, 1) >= 0 || errno != EAGAIN)) {
            if (status != '0') {
                return false;
            }
            ended = true;
        }
        const timespec pause = {0, kPollMs * 1'000'000};
        nanosleep(&pause, nullptr);
    }
    return false;
}

}  // namespace

void StartAndAwaitDebugger(bool crashing) {
    if (IsDebuggerAttached()) {
        return;
    }
    // A debugger is no child of a process that it watches.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const int result = Start(CompleteCommand(ChooseCommand(crashing).View()).CString());
    if (result < 0 || !WaitForDebugger(result)) {
        prctl(PR_SET_PTRACER, 0, 0, 0, 0);
    }
    if (result >= 0) {
        close(result);
    }
}

}  // namespace ZKL
