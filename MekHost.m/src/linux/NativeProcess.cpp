#include "common/NativeProcess.h"

#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "linux/EnvironmentCopy.h"

// The C library's clone() under its second name. The thread sanitizer takes every clone() for a
// fork and, as the memory is shared, would then treat this process as the forked one.
extern "C" int __clone(int (*function)(void*), void* stackTop, int flags, void* argument, ...);

namespace mek {
namespace {

constexpr int kFirstOwnDescriptor = 3;
constexpr std::size_t kStackBytes = std::size_t{256} * 1024;

struct Program {
    const std::vector<std::string>& files;  // to be tried in this order
    const char* const* arguments;
    char* const* variables;
    bool wait;
    sigset_t signalMask;  // for the program to start with
    int error = 0;
    int exitCode = 0;
};

// The attributes of a start: signals as a program expects them, no descriptors of ours.
class SpawnSettings {
public:
    explicit SpawnSettings(const sigset_t& mask) {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        // Ignored signals stay ignored in a new program, and one that waits for children of its own
        // or writes into a closed pipe relies on these two.
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGCHLD);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setsigmask(&attributes_, &mask);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        error_ = posix_spawn_file_actions_addclosefrom_np(&actions_, kFirstOwnDescriptor);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    // As execvp() does it: a file that cannot be had is passed over for the next one.
    int Start(const Program& program, pid_t* child) const {
        int result = error_ ? error_ : ENOENT;
        for (const std::string& file : program.files) {
            const int error = error_ ? error_ : StartFile(file.c_str(), program, child);
            if (error != ENOENT && error != ENOTDIR && error != EACCES) {
                return error;
            }
            result = result == EACCES ? EACCES : error;
        }
        return result;
    }

private:
    int StartFile(const char* file, const Program& program, pid_t* child) const {
        return posix_spawn(child, file, &actions_, &attributes_,
                           const_cast<char* const*>(program.arguments), program.variables);
    }

    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
    int error_;
};

int WaitForExit(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return 0;  // somebody else took the exit code
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Run(Program& program, const SpawnSettings& settings) {
    pid_t child = 0;
    program.error = settings.Start(program, &child);
    if (program.error == 0 && program.wait) {
        program.exitCode = WaitForExit(child);
    }
}

// No signal reaches the calling thread, or one that it starts, while it lives.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before_;
};

struct Errand {
    Program& program;
    const SpawnSettings& settings;
};

// What the go-between process does. It shares our memory, but has signal dispositions and
// descriptors of its own.
int GoBetween(void* argument) {
    auto& errand = *static_cast<Errand*>(argument);
    if (errand.program.wait) {
        // While it waits it must not hold on to our connections. The system is asked directly: a
        // library's notes about signals and descriptors are in the memory that we share.
        syscall(SYS_close_range, kFirstOwnDescriptor, ~0U, 0);
        const unsigned long defaultAction[4] = {};
        syscall(SYS_rt_sigaction, SIGCHLD, defaultAction, nullptr, sizeof(unsigned long));
    }
    Run(errand.program, errand.settings);
    return 0;
}

// wait4() without the C library: the error number's negative comes back.
[[gnu::no_sanitize("thread")]] long AwaitEnd(pid_t child) {
    register long options __asm__("rdx") = __WALL;
    register long usage __asm__("r10") = 0;
    long result = 0;
    __asm__ volatile("syscall"
                     : "=a"(result)
                     : "a"(SYS_wait4), "D"(child), "S"(0), "r"(options), "r"(usage)
                     : "rcx", "r11", "memory");
    return result;
}

// Makes the go-between process and waits for its end; negative when it cannot be made. Until then
// nothing of the C library's or a sanitizer's runs on this thread, for the go-between uses what
// they keep for it. (Not by CLONE_VFORK: a thread suspended so does not stop with its process.)
[[gnu::noinline, gnu::no_sanitize("thread")]] pid_t MakeAndAwait(char* stackTop, Errand* errand) {
    // No signal at its end, so that nobody who waits for any child finds it.
    const pid_t goBetween = __clone(&GoBetween, stackTop, CLONE_VM, errand);
    while (goBetween > 0 && AwaitEnd(goBetween) == -EINTR) {
    }
    return goBetween;
}

// Runs the program as the child of a go-between process that ends before this returns: so the
// program is not our child and never a zombie of ours, and when it is waited for its exit code
// arrives whatever this process does with its children. The go-between shares our memory instead of
// copying it.
void RunByGoBetween(Program& program, const SpawnSettings& settings) {
    void* const stack = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (stack == MAP_FAILED) {
        program.error = ENOMEM;
        return;
    }
    {
        const BlockedSignals noHandlerOfOursThere;
        Errand errand{program, settings};
        if (MakeAndAwait(static_cast<char*>(stack) + kStackBytes, &errand) < 0) {
            program.error = errno;
        }
    }
    munmap(stack, kStackBytes);
}

// The same on a thread of its own: the calling one goes on getting its signals, however long the
// program runs.
void RunByThread(Program& program, const SpawnSettings& settings) {
    std::thread thread;
    try {
        const BlockedSignals noneThere;
        thread = std::thread([&] { RunByGoBetween(program, settings); });
    } catch (const std::system_error&) {
        program.error = ENOMEM;
        return;
    }
    thread.join();
}

// The files that a program's name may stand for. Not by posix_spawnp(), which would look "PATH" up
// while others may change it.
std::vector<std::string> FilesOf(std::string_view name, const EnvironmentCopy& environment) {
    std::vector<std::string> files;
    if (name.find('/') != std::string_view::npos) {
        files.emplace_back(name);
    } else if (!name.empty()) {
        const char* const path = environment.Find("PATH");
        std::string_view folders = path ? path : "/bin:/usr/bin";
        for (std::size_t end = 0; end != std::string_view::npos;) {
            end = folders.find(':');
            std::string file(folders.substr(0, end));
            // A folder without a name is the working directory.
            file.append(file.empty() ? "" : "/").append(name);
            if (access(file.c_str(), F_OK) == 0) {
                files.push_back(std::move(file));
            }
            folders.remove_prefix(end != std::string_view::npos ? end + 1 : 0);
        }
    }
    return files;
}

// A program that must not be executed is reported like one that cannot be, a path through something
// that is no folder like one that is not there, and a process too many as a lack of memory.
int Published(int error) {
    switch (error) {
        case EAGAIN:
            return ENOMEM;
        case EACCES:
            return ENOEXEC;
        case ENOTDIR:
            return ENOENT;
        default:
            return error;
    }
}

}  // namespace

int RunProgram(const char* path, const char* const* arguments, bool wait, int* exitCode) {
    const EnvironmentCopy environment;
    const std::vector<std::string> files = FilesOf(path, environment);
    Program program{files, arguments, environment.Variables(), wait, {}};
    pthread_sigmask(SIG_BLOCK, nullptr, &program.signalMask);
    const SpawnSettings settings(program.signalMask);
    if (wait) {
        RunByThread(program, settings);
    } else {
        RunByGoBetween(program, settings);
    }
    *exitCode = program.exitCode;
    return Published(program.error);
}

}  // namespace mek
