// Crashes as it is told: crashing-program KIND WHERE REACTIONS.
//
// KIND is null-write, bad-jump, stack-overflow, abort, exception, division, trap or
// heap-corruption; WHERE is main, worker (a thread of vWorkerThread), arena (a thread of
// oneTBB's) or together (three threads at once). Every crash is in a function of its own, for its
// name to be looked for.

#include <oneapi/tbb/task_arena.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "ZelREKernel/ZelREKernel.h"

// No sanitizer is to foresee what happens.
#define CRASH extern "C" [[gnu::noinline, gnu::no_sanitize("undefined")]]

namespace {

volatile int g_zero = 0;
int* volatile g_null = nullptr;
void (*volatile g_nowhere)() = nullptr;

}  // namespace

CRASH void CrashByNullWrite() {
    *g_null = 1;
}
CRASH void CrashByBadJump() {
    g_nowhere();
    g_zero = 1;
}
CRASH int CrashByStackOverflow(const volatile int* before) {
    volatile int deep[1024];
    deep[0] = *before + 1;
    return g_zero == 0 ? CrashByStackOverflow(deep) + deep[0] : 0;
}
CRASH void CrashByAbort() {
    std::abort();
}
CRASH void CrashByException() {
    throw int{g_zero};
}
CRASH void CrashByDivision() {
    g_zero = 100 / g_zero;
}
CRASH void CrashByTrap() {
    __asm__ volatile("int3");
    g_zero = 1;
}
CRASH void CrashByHeapCorruption() {
    char* const block = static_cast<char*>(std::malloc(64));
    // What no caller may touch: the size before the block.
    volatile char* const before = block - 8;
    for (int i = 0; i < 8; ++i) {
        before[i] = static_cast<char>(0x77);
    }
    std::free(block);
    g_zero = 1;
}

namespace {

constexpr struct {
    const char* name;
    void (*crash)();
} kKinds[] = {{"null-write", &CrashByNullWrite},
              {"bad-jump", &CrashByBadJump},
              {"stack-overflow", [] { g_zero = CrashByStackOverflow(&g_zero); }},
              {"abort", &CrashByAbort},
              {"exception", []() noexcept { CrashByException(); }},
              {"division", &CrashByDivision},
              {"trap", &CrashByTrap},
              {"heap-corruption", &CrashByHeapCorruption}};

// Runs `crash` on one of oneTBB's own threads, never on this one.
void RunInArena(void (*crash)()) {
    const std::thread::id self = std::this_thread::get_id();
    auto& arena = ZKL::vThreadPoolManager::GetTBBThreadPool(0xFFFFFFFF);
    arena.enqueue([&] {
        if (std::this_thread::get_id() != self) {
            crash();
        }
    });
    std::this_thread::sleep_for(std::chrono::minutes(5));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    void (*crash)() = nullptr;
    for (const auto& kind : kKinds) {
        crash = std::strcmp(kind.name, argv[1]) == 0 ? kind.crash : crash;
    }
    ZKL::vLoggerLifeCycle logger;
    logger.Initialize();
    ZKL::LogDefault(ZKL::vLogger::eInfo, "a line of the log");
    ZKL::LogAbendTrace(ZKL::vLogger::eInfo, "a line of the crash report\n");
    const auto reactions = static_cast<unsigned>(std::atoi(argv[3]));
    for (const unsigned code :
         {0xC0000005u, 0xC0000094u, 0x80000003u, 0x40000015u, 0xC00000FDu, 0xC0000374u}) {
        ZKL::SetCustomExceptionFilter(code, reactions);
    }
    if (std::strcmp(argv[2], "main") == 0) {
        crash();
    } else if (std::strcmp(argv[2], "worker") == 0) {
        ZKL::vWorkerThread worker;
        worker.RunSingle();
        worker.PostJob(ZKL::vTaskDetail::vPooledTask::Create([crash] { crash(); }));
        std::this_thread::sleep_for(std::chrono::minutes(5));
    } else if (std::strcmp(argv[2], "together") == 0) {
        std::atomic<int> missing{3};
        const auto meetAndCrash = [&] {
            for (--missing; missing > 0;) {
            }
            crash();
        };
        const std::thread threads[] = {std::thread(meetAndCrash), std::thread(meetAndCrash),
                                       std::thread(meetAndCrash)};
        std::this_thread::sleep_for(std::chrono::minutes(5));
    } else {
        RunInArena(crash);
    }
    return 3;  // nothing crashed
}
