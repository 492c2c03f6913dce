#include "diagnostics/CrashFilter.h"

#include <MekHost/system/MekSignalStack.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
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

// Does what would have been done without us. A fault of an instruction comes again by itself once
// this handler returns. A signal that somebody sent has to be sent again, and so has a trap: it
// tells of an instruction that is done, and the thread goes on behind it.
void PassOn(int number, siginfo_t* signal, void* context) {
    const auto index = static_cast<std::size_t>(
        std::find(std::begin(kSignals), std::end(kSignals), number) - std::begin(kSignals));
    const struct sigaction& earlier = s_earlier[index];
    if (earlier.sa_flags & SA_SIGINFO) {
        earlier.sa_sigaction(number, signal, context);
        return;
    }
    const bool sent = signal->si_code <= 0;
    if (earlier.sa_handler == SIG_IGN && sent) {
        return;
    }
    if (earlier.sa_handler != SIG_IGN && earlier.sa_handler != SIG_DFL) {
        earlier.sa_handler(number);
        return;
    }
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(number, &standard, nullptr);
    if (sent || number == SIGTRAP) {
        // With what its sender said, so that a core dump of the system's tells the same.
        syscall(SYS_rt_tgsigqueueinfo, getpid(), ThreadNumber(), number, signal);
    }
}

void Handle(int number, siginfo_t* signal, void* context) {
    const int error = errno;
    if (const ReportTurn turn; turn.IsOurs()) {
        const Fault fault = {signal, static_cast<ucontext_t*>(context)};
        ReactToException(CodeOf(*signal), fault);
    }
    errno = error;
    PassOn(number, signal, context);
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
