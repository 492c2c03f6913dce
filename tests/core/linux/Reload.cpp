// Loads the kernel library, uses it and unloads it, a thousand times; afterwards the process must
// have no thread, no descriptor and no memory more than after the first rounds.
//
//     core-reload <path of the library>

#include <dlfcn.h>
#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/TempDir.h"

namespace {

constexpr int kRounds = 1000;
constexpr int kWarmUp = 20;

void Require(bool holds, const char* what, int round) {
    if (!holds) {
        std::fprintf(stderr, "core-reload: round %d: %s\n", round, what);
        std::exit(1);
    }
}

std::size_t CountEntries(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

class Library {
public:
    Library(const char* path, int round)
        : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)), round_(round) {
        Require(handle_ != nullptr, "cannot load the library", round);
    }
    ~Library() { dlclose(handle_); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <typename Function>
    Function* Find(const char* symbol) const {
        void* const found = dlsym(handle_, symbol);
        Require(found != nullptr, symbol, round_);
        return reinterpret_cast<Function*>(found);
    }

private:
    void* handle_;
    int round_;
};

// Brings the kernel up, logs a line to a file through the flusher, and takes it down; in odd rounds
// the flusher is left running for the unloading to end.
void Use(const Library& kernel, const std::string& file, int round) {
    constexpr int kRufx = 3;
    constexpr int kInfo = 3;
    const std::uint8_t context = 0;
    std::uintptr_t lifeCycle[2] = {};  // an object that the two functions do not look into
    const bool stopsFlusher = round % 2 == 0;

    const auto initialize = kernel.Find<std::int32_t(const void*)>(
        "_ZN3ZKL13vKernelModule10InitializeERKNS_7vModule13ModuleContextE");
    const auto terminate = kernel.Find<std::int32_t()>("_ZN3ZKL13vKernelModule9TerminateEv");
    const auto start = kernel.Find<bool(void*)>("_ZN3ZKL16vLoggerLifeCycle10InitializeEv");
    const auto stop = kernel.Find<bool(void*)>("_ZN3ZKL16vLoggerLifeCycle9TerminateEv");
    const auto manager = kernel.Find<void*()>("_ZN3ZKL14vLoggerManager11GetInstanceEv");
    const auto logger =
        kernel.Find<void*(void*, int)>("_ZN3ZKL14vLoggerManager9GetLoggerENS0_4TypeE");
    const auto setOutput = kernel.Find<void(void*, const char*)>("_ZN3ZKL7vLogger9SetOutputEPKc");
    const auto log =
        kernel.Find<void(int, const char*, ...)>("_ZN3ZKL7LogRufxENS_7vLogger9FLogLevelEPKcz");

    Require(initialize(&context) == 0, "the module does not start", round);
    Require(start(lifeCycle), "the flusher does not start", round);
    setOutput(logger(manager(), kRufx), file.c_str());
    log(kInfo, "round %d", round);
    Require(!stopsFlusher || stop(lifeCycle), "the flusher does not stop", round);
    Require(terminate() == 0, "the module does not stop", round);
}

void CheckUnloaded(const std::string& file, int round) {
    const std::string maps = test::ReadFile("/proc/self/maps");
    Require(maps.find("libZelREKernel") == std::string::npos, "the library is still mapped", round);
    const std::string expected = "[INFO]\t : round " + std::to_string(round) + "\n";
    Require(test::ReadFile(file) == expected, "the line is not in the file", round);
}

}  // namespace

int main(int, char** arguments) {
    const test::TempDir directory;
    const std::string file = directory.File("log");
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t heap = 0;
    for (int round = 0; round < kRounds; ++round) {
        Use(Library(arguments[1], round), file, round);
        CheckUnloaded(file, round);
        if (round == kWarmUp) {
            descriptors = CountEntries("/proc/self/fd");
            threads = CountEntries("/proc/self/task");
            heap = mallinfo2().uordblks;
        }
    }
    Require(CountEntries("/proc/self/fd") == descriptors, "descriptors are left open", kRounds);
    Require(CountEntries("/proc/self/task") == threads, "threads are left", kRounds);
    // Less than a byte a round: nothing is kept per round. A sanitizer's own heap always reports 0.
    const std::size_t now = mallinfo2().uordblks;
    std::printf("core-reload: heap in use %zu after warm-up, %zu at the end\n", heap, now);
    Require(now < heap + kRounds, "memory is left", kRounds);
    return 0;
}
