#include "Crash.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Host.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "ZelREKernel/diagnostics/vProcessLauncher.h"

namespace frame {
namespace {

namespace files = std::filesystem;

// What the compiler does not know it cannot leave out.
volatile int g_zero = 0;
int* volatile g_null = nullptr;
void (*volatile g_nowhere)() = nullptr;

int Deeper(const volatile int* above) {
    volatile int here[1024];
    here[0] = *above + 1;
    return g_zero == 0 ? Deeper(here) + here[0] : 0;
}

// The size of a block stands before it, and no caller may touch it.
void CorruptHeap() {
    char* volatile hidden = static_cast<char*>(std::malloc(64));
    char* const block = hidden;
    volatile char* const before = block - 8;
    for (int i = 0; i < 8; ++i) {
        before[i] = 0x77;
    }
    std::free(block);
}

// No sanitizer is to foresee what happens.
[[gnu::no_sanitize("undefined")]] void WriteToNull() {
    *g_null = 1;
}

constexpr struct {
    std::string_view name;
    void (*crash)();
} kKinds[] = {{"null-write", &WriteToNull},
              {"bad-jump", [] { g_nowhere(); }},
              {"stack-overflow", [] { g_zero = Deeper(&g_zero); }},
              {"abort", [] { std::abort(); }},
              {"division", [] { g_zero = 100 / g_zero; }},
              {"trap", [] { __asm__ volatile("int3"); }},
              {"heap-corruption", &CorruptHeap}};

// The newest dump in `folder` that is not older than `start`; empty without one.
files::path FindDump(const files::path& folder, files::file_time_type start) {
    files::path newest;
    std::error_code ignored;
    for (const auto& entry : files::directory_iterator(folder, ignored)) {
        const files::path& path = entry.path();
        if (path.extension() == ".dmp" && entry.last_write_time(ignored) >= start) {
            start = entry.last_write_time(ignored);
            newest = path;
        }
    }
    return newest;
}

int Fail(const std::string& line) {
    std::fprintf(stderr, "frame: %s\n", line.c_str());
    return 1;
}

}  // namespace

const char* const kCrashKinds =
    "null-write, bad-jump, stack-overflow, abort, division, trap or heap-corruption";

bool IsCrashKind(std::string_view kind) {
    for (const auto& each : kKinds) {
        if (each.name == kind) {
            return true;
        }
    }
    return false;
}

void ReportCrashes() {
    constexpr unsigned kReactions =
        ZKL::eReactionPrint | ZKL::eReactionCallStack | ZKL::eReactionDump;
    for (const unsigned code : {0xC0000005u, 0xC0000006u, 0xC0000094u, 0xC000008Eu, 0xC000001Du,
                                0x80000003u, 0x40000015u, 0xC00000FDu, 0xC0000374u}) {
        ZKL::SetCustomExceptionFilter(code, kReactions);
    }
}

void Crash(std::string_view kind) {
    ZKL::LogAbendTrace(ZKL::vLogger::eError, "Asked to crash: %.*s\n",
                       static_cast<int>(kind.size()), kind.data());
    for (const auto& each : kKinds) {
        if (each.name == kind) {
            each.crash();
        }
    }
    // A heap may take no notice.
    std::exit(0);
}

int RunCrash(const std::string& kind, const std::string& out, int argc, const char* const* argv) {
    std::error_code code;
    files::create_directories(out, code);
    if (code) {
        return Fail(out + ": " + code.message());
    }
    const std::string folder = CrashDumpFolder(out);
    vProcessLauncher host(ProgramPath().c_str(), true);
    for (int i = 1; i < argc; ++i) {
        host.PushArg(argv[i]);
    }
    host.PushArg("--crash-here=" + kind);
    // The clock of a file system is a little behind.
    const auto start = files::file_time_type::clock::now() - std::chrono::seconds(1);
    int result = 0;
    int error = 0;
    host.Launch(result, error);
    if (error != 0) {
        return Fail("the host cannot be started: " +
                    ZKL::to_string(vProcessLauncher::ConvertError(error)));
    }
    const std::string end = DescribeEnd(result);
    const files::path dump = FindDump(folder, start);
    if (dump.empty()) {
        return Fail("the host ended with " + end + " and left no dump in " + folder);
    }
    files::path report = dump;
    report.replace_extension(".txt");
    std::printf("The host crashed with %s and left\n  dump    %s\n  report  %s\n", end.c_str(),
                dump.string().c_str(), report.string().c_str());
    return 0;
}

}  // namespace frame
