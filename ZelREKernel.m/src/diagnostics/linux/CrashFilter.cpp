#include "diagnostics/CrashFilter.h"

#include <MekHost/system/MekSignalStack.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>

#include "diagnostics/ReportTurn.h"
#include "diagnostics/linux/DumpPath.h"
#include "diagnostics/linux/Fault.h"

namespace ZKL {
namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT};

struct sigaction s_earlier[std::size(kSignals)];

// Source: winnt.h, the EXCEPTION_ and STATUS_ codes; FATAL_APP_EXIT for an abort.
std::uint32_t CodeOf(const siginfo_t& signal) {
    switch (signal.si_signo) {
        case SIGSEGV:
            return 0xC0000005;
        case SIGBUS:
            return 0xC0000006;
        case SIGFPE:
            return signal.si_code == FPE_INTDIV || signal.si_code == FPE_INTOVF ? 0xC0000094
                                                                                : 0xC000008E;
        case SIGILL:
            return 0xC000001D;
        case SIGTRAP:
            return 0x80000003;
        default:
            return 0x40000015;
    }
}

std::size_t IndexOf(int number) {
    return static_cast<std::size_t>(std::find(std::begin(kSignals), std::end(kSignals), number) -
                                    std::begin(kSignals));
}

// ---- the handlers that were there before

// The frame that called such a handler on the thread whose turn lapses.
std::atomic<std::uintptr_t> s_callersFrame{0};

// Whether the fault hit code that the handler runs. What hit the thread after a jump out of there
// is another matter: its stack is above that frame, or another one than the frame's.
bool IsInEarlierHandler(const Fault& fault) {
    const stack_t& signals = fault.context->uc_stack;
    const auto isThere = [&](std::uintptr_t address) {
        return address - reinterpret_cast<std::uintptr_t>(signals.ss_sp) < signals.ss_size;
    };
    const auto top = static_cast<std::uintptr_t>(fault.context->uc_mcontext.gregs[REG_RSP]);
    const std::uintptr_t frame = s_callersFrame.load();
    return top < frame && isThere(top) == isThere(frame);
}

// A fault of an instruction, to which the thread returns from the handler.
struct Place {
    static Place Of(const Fault& fault) {
        const greg_t* const registers = fault.context->uc_mcontext.gregs;
        return {ThreadNumber(), fault.signal->si_signo, fault.signal->si_addr, registers[REG_RIP],
                registers[REG_RSP]};
    }
    bool operator==(const Place&) const = default;

    std::uint32_t thread;
    int signal;
    void* address;
    greg_t instruction;
    greg_t stack;
};
// Where such a handler returned to last, by threads: it may have mended nothing, and the fault
// comes for ever. A place that another thread's has overwritten is reported once more.
Place s_returned[64];

Place& ReturnedOf(const Place& place) {
    return s_returned[place.thread % std::size(s_returned)];
}

// Somebody else's signal, not the system's.
bool IsSent(const siginfo_t& signal) {
    return signal.si_code <= 0;
}

// A trap tells of an instruction that is done.
bool ComesAgain(const siginfo_t& signal) {
    return !IsSent(signal) && signal.si_signo != SIGTRAP;
}

bool Has(const struct sigaction& action, unsigned flag) {
    return (static_cast<unsigned>(action.sa_flags) & flag) != 0;
}

// As the system would call it.
void Call(struct sigaction& action, const Fault& fault) {
    const struct sigaction called = action;
    const int number = fault.signal->si_signo;
    if (Has(called, SA_RESETHAND)) {
        action = {};
        action.sa_handler = SIG_DFL;
    }
    sigset_t blocked = called.sa_mask;
    if (!Has(called, SA_NODEFER)) {
        sigaddset(&blocked, number);
    }
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    if (Has(called, SA_SIGINFO)) {
        called.sa_sigaction(number, const_cast<siginfo_t*>(fault.signal), fault.context);
    } else {
        called.sa_handler(number);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// Ends the process where the fault hit it, once the handler has returned: until then the signal is
// held back. It says what it said, so that a core dump of the system's tells the same.
void EndBy(const Fault& fault) {
    const int number = fault.signal->si_signo;
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(number, &standard, nullptr);
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, number);
    pthread_sigmask(SIG_BLOCK, &held, nullptr);
    syscall(SYS_rt_tgsigqueueinfo, getpid(), ThreadNumber(), number, fault.signal);
}

// Does what would have been done without us.
void PassOn(const Fault& fault, ReportTurn& turn, bool inEarlierHandler) {
    struct sigaction& earlier = s_earlier[IndexOf(fault.signal->si_signo)];
    if (earlier.sa_handler == SIG_IGN && IsSent(*fault.signal)) {
        return;
    }
    // The system does not let a fault be ignored.
    if (earlier.sa_handler == SIG_DFL || earlier.sa_handler == SIG_IGN) {
        turn.KeepToTheEnd();
        EndBy(fault);
        return;
    }
    if (!inEarlierHandler) {
        s_callersFrame.store(reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)));
    }
    turn.LetLapse();
    // Behind the call the registers may be others.
    const Place place = Place::Of(fault);
    Call(earlier, fault);
    if (ComesAgain(*fault.signal)) {
        ReturnedOf(place) = place;
    }
}

// While it lives, a standard error that nobody reads ends nothing.
class NoPipeSignal {
public:
    NoPipeSignal() {
        sigset_t pending;
        sigpending(&pending);
        wasThere_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~NoPipeSignal() {
        const timespec atOnce = {};
        while (!wasThere_ && sigtimedwait(&pipe_, nullptr, &atOnce) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    NoPipeSignal(const NoPipeSignal&) = delete;
    NoPipeSignal& operator=(const NoPipeSignal&) = delete;

private:
    sigset_t pipe_;
    sigset_t before_;
    bool wasThere_;  // then it is somebody else's
};

void Handle(int, siginfo_t* signal, void* context) {
    const int error = errno;
    const Fault fault = {signal, static_cast<ucontext_t*>(context)};
    ReportTurn turn;
    const bool inEarlierHandler = turn.IsTakenAnew() && IsInEarlierHandler(fault);
    const Place place = Place::Of(fault);
    const bool cameAgain = ComesAgain(*signal) && ReturnedOf(place) == place;
    if (turn.IsOurs() && !inEarlierHandler && !cameAgain) {
        const NoPipeSignal guard;
        ReactToException(CodeOf(*signal), fault);
    }
    errno = error;
    PassOn(fault, turn, inEarlierHandler);
}

// The handlers go with the library, unless somebody has put others in their place.
struct Uninstaller {
    ~Uninstaller() {
        for (std::size_t i = 0; i < std::size(kSignals); ++i) {
            struct sigaction now = {};
            if (sigaction(kSignals[i], nullptr, &now) == 0 && now.sa_sigaction == &Handle) {
                sigaction(kSignals[i], &s_earlier[i], nullptr);
            }
        }
    }
};

}  // namespace

void InstallExceptionFilter() {
    static MekSignalStack s_stack;
    static Uninstaller s_uninstaller;
    RememberLocalTime();
    struct sigaction ours = {};
    ours.sa_sigaction = &Handle;
    // A fault while one is reported must reach us again: blocked, it would end the process at once.
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], &ours, &s_earlier[i]);
    }
}

void WriteToStandardError(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

}  // namespace ZKL
