#include "diagnostics/linux/HelperProcess.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <ctime>

namespace ZKL {
namespace {

constexpr std::size_t kStackBytes = std::size_t{1} << 20;

struct Task {
    int (*run)(void*);
    void* argument;
    std::atomic<bool> allowed{false};
};

// A fault in here ends the helper, with the handlers of this process it would start another one. A
// full disk or a standard error that nobody reads ends one write. All else stays blocked: the
// host's handlers are not for a second process that has the same memory.
void SetSignals() {
    sigset_t faults;
    sigemptyset(&faults);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        signal(number, SIG_DFL);
        sigaddset(&faults, number);
    }
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        signal(number, SIG_IGN);
    }
    pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

int Main(void* argument) {
    SetSignals();
    const auto& task = *static_cast<const Task*>(argument);
    while (!task.allowed.load(std::memory_order_acquire)) {
        sched_yield();
    }
    return task.run(task.argument);
}

// Its exit status, or -1 when it was still there at the end of the time and has been ended.
int WaitFor(pid_t helper, int timeoutMs) {
    int status = 0;
    for (int waited = 0;; ++waited) {
        const bool late = timeoutMs >= 0 && waited >= timeoutMs;
        if (late) {
            kill(helper, SIGKILL);
        }
        const bool poll = timeoutMs >= 0 && !late;
        const pid_t ended = waitpid(helper, &status, __WALL | (poll ? WNOHANG : 0));
        if (ended == helper) {
            return late ? -1 : status;
        }
        if (ended < 0 && errno != EINTR) {
            return -1;
        }
        if (poll) {
            const timespec pause = {0, 1'000'000};
            nanosleep(&pause, nullptr);
        }
    }
}

}  // namespace

bool RunInHelper(int (*run)(void*), void* argument, int timeoutMs) {
    void* const stack = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (stack == MAP_FAILED) {
        return false;
    }
    Task task{run, argument};
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // No signal at its end, so that neither the host's handlers nor its setting for SIGCHLD matter.
    const pid_t helper = clone(Main, static_cast<char*>(stack) + kStackBytes,
                               CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_UNTRACED, &task);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    int status = -1;
    if (helper >= 0) {
        // Where a process may be traced by its ancestors only, this names one more. Elsewhere it
        // fails, and nothing needs it.
        prctl(PR_SET_PTRACER, helper, 0, 0, 0);
        task.allowed.store(true, std::memory_order_release);
        status = WaitFor(helper, timeoutMs);
        prctl(PR_SET_PTRACER, 0, 0, 0, 0);
    }
    munmap(stack, kStackBytes);
    return status == 0;
}

}  // namespace ZKL
