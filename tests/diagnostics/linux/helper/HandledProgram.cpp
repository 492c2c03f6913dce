// handled-program EARLIER REACTIONS: has a handler of its own for SIGSEGV, EARLIER, before it sets
// REACTIONS to SIGSEGV and SIGABRT, none at all where they are 0; then it writes to null. The
// handler says on standard error what it does.

#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <thread>

#include <unistd.h>

#include "ZelREKernel/diagnostics/vCrashHandling.h"

namespace {

int* volatile g_null = nullptr;
int g_calls = 0;
sigjmp_buf g_back;

void Say(std::string_view text) {
    static_cast<void>(write(STDERR_FILENO, text.data(), text.size()) + 1);
}

[[gnu::noinline, gnu::no_sanitize("undefined")]] void WriteToNull() {
    *g_null = 1;
}

// A handler that does nothing for ever must not hang the test.
void Count(int most) {
    Say("handler\n");
    if (++g_calls == most) {
        _exit(7);
    }
}

const struct {
    std::string_view name;
    void (*handler)(int);
    int flags;
} kEarlier[] = {
    {"default", SIG_DFL, SA_SIGINFO},
    {"ignored", SIG_IGN, 0},
    {"returns", [](int) { Count(5); }, 0},
    {"returns-once", [](int) { Count(5); }, static_cast<int>(SA_RESETHAND)},
    {"resets", [](int) { Count(5), std::signal(SIGSEGV, SIG_DFL); }, 0},
    {"resets-and-raises",
     [](int number) {
         std::signal(number, SIG_DFL);
         std::raise(number);
         Count(5);
     },
     0},
    {"faults", [](int) { Count(5), WriteToNull(); }, 0},
    {"faults-unblocked", [](int) { Count(5), WriteToNull(); }, SA_NODEFER},
    {"faults-once", [](int) { Count(5), WriteToNull(); },
     static_cast<int>(SA_RESETHAND | SA_NODEFER)},
    {"aborts", [](int) { Count(5), std::abort(); }, 0},
    // Another signal, which is held back while the handler runs.
    {"raises-other", [](int) { std::raise(SIGUSR1), Count(2); }, 0},
    {"jumps", [](int) { Count(5), siglongjmp(g_back, 1); }, 0},
    {"dumps-and-exits", [](int) { ZKL::CreateMiniDump(), Count(1); }, 0},
};

void InstallEarlier(std::string_view name) {
    for (const auto& earlier : kEarlier) {
        if (earlier.name == name) {
            struct sigaction action = {};
            action.sa_handler = earlier.handler;
            action.sa_flags = earlier.flags;
            sigaddset(&action.sa_mask, SIGUSR1);
            sigaction(SIGSEGV, &action, nullptr);
        }
    }
    std::signal(SIGUSR1, [](int) { Say("other\n"); });
}

}  // namespace

int main(int, char** arguments) {
    InstallEarlier(arguments[1]);
    if (const int reactions = std::atoi(arguments[2])) {
        ZKL::SetCustomExceptionFilter(0xC0000005, static_cast<unsigned>(reactions));
        ZKL::SetCustomExceptionFilter(0x40000015, static_cast<unsigned>(reactions));
    }
    if (sigsetjmp(g_back, 1) == 0) {
        WriteToNull();
    }
    // Whoever jumped out of a handler is as well as before: others get their dumps, and the next
    // crash its report.
    std::thread([] { ZKL::CreateMiniDump(); }).join();
    std::abort();
}
