#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <vector>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "diagnostics/linux/MinidumpFormat.h"
#include "support/TempDir.h"

namespace {

namespace Format = ZKL::Minidump;

// The sanitizers' run-time libraries answer some of these faults themselves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// Reports are made by a process that shares this one's memory.
#if defined(__SANITIZE_THREAD__)
#define SKIP_WITHOUT_HELPER() \
    GTEST_SKIP() << "the thread sanitizer takes the helper process for the thread that made it"
#else
#define SKIP_WITHOUT_HELPER() static_cast<void>(0)
#endif

// A file in memory, for as long as the program runs: most of a dump is a hole that no copy needs.
std::string_view Map(const std::string& name) {
    const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    fstat(file, &status);
    const auto bytes = static_cast<std::size_t>(status.st_size);
    void* const memory = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, file, 0);
    close(file);
    return memory == MAP_FAILED ? std::string_view()
                                : std::string_view(static_cast<const char*>(memory), bytes);
}

struct Outcome {
    int status = 0;  // as the system tells the program's end
    int signal = 0;  // that ended it
    std::string_view said;
    std::string_view dump;
    std::string_view report;
};

// The file that a dump made in `directory` and whose name ends so.
std::string_view FindFile(const test::TempDir& directory, const char* ending) {
    for (const auto& entry : std::filesystem::directory_iterator(directory.Path())) {
        if (std::regex_match(
                entry.path().filename().string(),
                std::regex(std::string("MiniDump-\\d\\d-\\d{6}_\\d\\dh\\d\\d") + ending))) {
            return Map(entry.path().string());
        }
    }
    return {};
}

// Runs a helper program with its standard error in a file, or as `prepare` changes that.
Outcome RunHelper(
    std::vector<const char*> arguments, void (*prepare)() = [] {}) {
    const test::TempDir directory;
    const std::string said = directory.File("said");
    const std::string program = std::string(ZEL_TEST_BIN_DIR "/") + arguments[0];
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        setenv("ZelCrashDumpDirectory", directory.Path().c_str(), 1);
        const rlimit none = {};
        setrlimit(RLIMIT_CORE, &none);
        dup2(open(said.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600), STDERR_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        prepare();
        execv(program.c_str(), const_cast<char* const*>(arguments.data()));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {status, WIFSIGNALED(status) ? WTERMSIG(status) : 0, Map(said),
            FindFile(directory, "\\.dmp"), FindFile(directory, "\\.txt")};
}

Outcome Crash(
    const char* kind, const char* where, const char* reactions, void (*prepare)() = [] {}) {
    return RunHelper({"crashing-program", kind, where, reactions}, prepare);
}

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

template <typename Record>
Record At(std::string_view dump, std::uint64_t offset) {
    Record record = {};
    if (offset + sizeof(record) <= dump.size()) {
        std::memcpy(&record, dump.data() + offset, sizeof(record));
    }
    return record;
}

Format::Location FindStream(std::string_view dump, Format::StreamType type) {
    const auto header = At<Format::Header>(dump, 0);
    for (std::uint32_t i = 0; i < header.streamCount; ++i) {
        const auto entry = At<Format::DirectoryEntry>(
            dump, header.directoryOffset + i * sizeof(Format::DirectoryEntry));
        if (entry.type == type) {
            return entry.location;
        }
    }
    return {};
}

// The bytes that the process had at `address`, out of the dump's full memory.
std::string_view MemoryAt(std::string_view dump, std::uint64_t address, std::size_t bytes) {
    const Format::Location stream = FindStream(dump, Format::eMemory64List);
    const auto head = At<Format::Memory64Head>(dump, stream.offset);
    std::uint64_t offset = head.offset;
    for (std::uint64_t i = 0; i < head.count; ++i) {
        const auto range = At<Format::Memory64Range>(
            dump, stream.offset + sizeof(head) + i * sizeof(Format::Memory64Range));
        if (address >= range.address && address + bytes <= range.address + range.bytes) {
            return dump.substr(offset + (address - range.address), bytes);
        }
        offset += range.bytes;
    }
    return {};
}

// The dump tells the fault, has all threads with their registers, and holds their stacks.
void CheckDump(std::string_view dump, int signal) {
    const auto header = At<Format::Header>(dump, 0);
    ASSERT_EQ(header.signature, Format::kSignature);
    EXPECT_EQ(header.flags, Format::kWithFullMemory);
    const auto exception = At<Format::Exception>(dump, FindStream(dump, Format::eException).offset);
    EXPECT_EQ(exception.code, static_cast<std::uint32_t>(signal));
    const std::uint32_t threads = FindStream(dump, Format::eThreadList).offset;
    const auto count = At<std::uint32_t>(dump, threads);
    EXPECT_GE(count, 2u);  // the flusher of the log is one
    bool found = false;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto thread = At<Format::Thread>(dump, threads + 4 + i * sizeof(Format::Thread));
        const auto registers = At<Format::Context>(dump, thread.context.offset);
        EXPECT_NE(registers.rsp, 0u);
        EXPECT_EQ(MemoryAt(dump, thread.stack.address, 64),
                  dump.substr(thread.stack.location.offset, 64));
        found = found || thread.id == exception.threadId;
    }
    EXPECT_TRUE(found);
    const Format::Location report = FindStream(dump, Format::eCrashReport);
    EXPECT_TRUE(Contains(dump.substr(report.offset, report.bytes), "a line of the crash report\n"));
}

// A line "#<n>  0x<address>  function (.../CrashingProgram.cpp:<line>)".
bool NamesFrame(std::string_view text, std::string_view function) {
    const std::size_t at = text.find("  " + std::string(function) + " (");
    const std::string_view line = text.substr(std::min(at, text.size()));
    return Contains(line.substr(0, line.find('\n')), "CrashingProgram.cpp:");
}

TEST(Crash, DumpsAProcessThatIsWell) {
    SKIP_WITHOUT_HELPER();
    const test::TempDir directory;
    const std::string mark = "a text that only this process has " + std::to_string(getpid());
    setenv("ZelCrashDumpDirectory", directory.Path().c_str(), 1);
    ZKL::CreateMiniDump();
    const std::string_view dump = FindFile(directory, "\\.dmp");
    EXPECT_EQ(At<Format::Header>(dump, 0).signature, Format::kSignature);
    EXPECT_EQ(FindStream(dump, Format::eException).bytes, 0u);
    EXPECT_EQ(MemoryAt(dump, reinterpret_cast<std::uint64_t>(mark.data()), mark.size()), mark);

    setenv("ZelCrashDumpDirectory", directory.File("nowhere").c_str(), 1);
    ZKL::CreateMiniDump();  // nothing happens
    EXPECT_FALSE(std::filesystem::exists(directory.File("nowhere")));
    unsetenv("ZelCrashDumpDirectory");
}

// The names without an ending of dumps made now and, should the minute be over, a little later, by
// a clock that is 11 hours and 30 minutes ahead of universal time.
std::vector<std::string> NamesNow(const test::TempDir& directory) {
    std::vector<std::string> names;
    for (const int later : {0, 60}) {
        const std::time_t when = std::time(nullptr) + 41400 + later;
        char name[64];
        std::strftime(name, sizeof(name), "MiniDump-%d-%m%Y_%Hh%M", std::gmtime(&when));
        names.push_back(directory.File(name));
    }
    return names;
}

// What has the names already is no way to somebody's file, and gives nobody else a look.
TEST(Crash, DumpsAreTheirOwnersAlone) {
    SKIP_WITHOUT_HELPER();
    namespace files = std::filesystem;
    const test::TempDir directory;
    setenv("ZelCrashDumpDirectory", directory.Path().c_str(), 1);
    setenv("TZ", "ZEL-11:30", 1);
    std::ofstream(directory.File("kept")) << "somebody's";
    std::vector<std::string> names = NamesNow(directory);
    for (const std::string& name : names) {
        files::create_symlink("kept", name + ".dmp");
        std::ofstream(name + ".txt") << "old";
    }
    ZKL::CreateMiniDump();
    EXPECT_EQ(test::ReadFile(directory.File("kept")), "somebody's");
    const std::string name = files::is_symlink(names[0] + ".dmp") ? names[1] : names[0];
    for (const char* const ending : {".dmp", ".txt"}) {
        const files::file_status status = files::symlink_status(name + ending);
        EXPECT_EQ(status.type(), files::file_type::regular) << ending;
        EXPECT_EQ(status.permissions(), files::perms::owner_read | files::perms::owner_write);
        EXPECT_GT(files::file_size(name + ending), 100u);
    }
    // The text is there where the dump cannot be made.
    names = NamesNow(directory);
    for (const std::string& each : names) {
        files::remove(each + ".dmp");
        files::remove(each + ".txt");
        files::create_directory(each + ".dmp");
    }
    ZKL::CreateMiniDump();
    EXPECT_TRUE(files::exists(names[0] + ".txt") || files::exists(names[1] + ".txt"));
    unsetenv("TZ");
    unsetenv("ZelCrashDumpDirectory");
}

// Each way to crash, on each kind of thread: the process still dies as it would have, and
// everything there is to know of it is there.
TEST(Crash, IsReportedWhateverItIsAndWhereverItHappens) {
    SKIP_WITHOUT_HELPER();
    const struct {
        const char* kind;
        int signal;
        const char* code;
        const char* function;
        bool sanitized;  // also where a sanitizer runs
        bool deep = false;
    } kinds[] = {
        {"null-write", SIGSEGV, "c0000005", "CrashByNullWrite", true},
        {"bad-jump", SIGSEGV, "c0000005", "CrashByBadJump", true},
        {"stack-overflow", SIGSEGV, "c0000005", "CrashByStackOverflow", false, true},
        {"abort", SIGABRT, "40000015", "CrashByAbort", true},
        {"division", SIGFPE, "c0000094", "CrashByDivision", false},
        {"trap", SIGTRAP, "80000003", "CrashByTrap", true},
        {"heap-corruption", SIGABRT, "40000015", "CrashByHeapCorruption", false},
    };
    for (const auto& kind : kinds) {
        if (kSanitized && !kind.sanitized) {
            std::cout << kind.kind << ": SKIPPED, the sanitizer answers it itself\n";
            continue;
        }
        for (const char* const where : {"main", "worker", "arena"}) {
            SCOPED_TRACE(testing::Message() << kind.kind << " on " << where);
            const Outcome outcome = Crash(kind.kind, where, "11");
            if (!kSanitized) {
                EXPECT_EQ(outcome.signal, kind.signal);
            }
            EXPECT_TRUE(Contains(outcome.said, "************ Exception catched! Code: " +
                                                   std::string(kind.code) + "\n# 0  0x"));
            EXPECT_TRUE(NamesFrame(outcome.said, kind.function)) << outcome.said;
            // A function that calls itself is one line, and what called it first is still there.
            EXPECT_EQ(Contains(outcome.said, " times)\n"), kind.deep);
            EXPECT_TRUE(!kind.deep ||
                        std::count(outcome.said.begin(), outcome.said.end(), '\n') < 40);
            CheckDump(outcome.dump, kind.signal);
            for (const std::string part :
                 {"==== FAULT ====\nSIG", "==== THREADS ====\n", " Zelo:LogFlusher\n",
                  "==== ZELO INFORMATION ====\na line of the crash report\n",
                  "==== LAST LINES OF Default ====\n[INFO]\t : a line of the log\n"}) {
                EXPECT_TRUE(Contains(outcome.report, part)) << part;
            }
            EXPECT_TRUE(NamesFrame(outcome.report, kind.function));
        }
    }
}

TEST(Crash, DoesNoMoreThanItWasToldTo) {
    SKIP_WITHOUT_HELPER();
    const struct {
        const char* reactions;
        bool says;
        bool stack;
        bool dumps;
    } cases[] = {{"0", false, false, false}, {"1", true, false, false}, {"9", true, false, true}};
    for (const auto& c : cases) {
        const Outcome outcome = Crash("abort", "main", c.reactions);
        EXPECT_EQ(outcome.signal, SIGABRT);
        EXPECT_EQ(outcome.said, c.says ? "************ Exception catched! Code: 40000015\n" : "");
        EXPECT_EQ(!outcome.dump.empty(), c.dumps);
    }
}

// Nobody reads what is said: the reports are made, and the process dies of its crash.
TEST(Crash, IsReportedWhereNobodyReads) {
    SKIP_WITHOUT_HELPER();
    const Outcome outcome = Crash("null-write", "main", "11", [] {
        int ends[2];
        static_cast<void>(pipe(ends) + 1);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
    });
    EXPECT_TRUE(kSanitized || outcome.signal == SIGSEGV) << outcome.signal;
    CheckDump(outcome.dump, SIGSEGV);
    EXPECT_TRUE(NamesFrame(outcome.report, "CrashByNullWrite"));
}

// A limit of the system's for files ends the dump, not the report.
TEST(Crash, IsToldInATextWhereADumpHasNoRoom) {
    SKIP_WITHOUT_HELPER();
    const Outcome outcome = Crash("null-write", "main", "8", [] {
        const rlimit limit = {1 << 16, 1 << 16};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_TRUE(kSanitized || outcome.signal == SIGSEGV) << outcome.signal;
    EXPECT_LE(outcome.dump.size(), std::size_t{1} << 16);
    EXPECT_TRUE(NamesFrame(outcome.report, "CrashByNullWrite"));
}

// With handlers of the host's the process says and ends as it does without us, but for the reports:
// one for each crash.
TEST(Crash, LeavesTheRestToEarlierHandlers) {
    SKIP_WITHOUT_HELPER();
    const std::string report = "************ Exception catched! Code: c0000005\n";
    const std::string atTheEnd = "************ Exception catched! Code: 40000015\n";
    const struct {
        const char* earlier;
        bool goesOn = false;
    } cases[] = {
        {"default"},           {"ignored"},     {"returns"},          {"returns-once"}, {"resets"},
        {"resets-and-raises"}, {"faults"},      {"faults-unblocked"}, {"faults-once"},  {"aborts"},
        {"raises-other"},      {"jumps", true}, {"dumps-and-exits"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.earlier);
        const Outcome alone = RunHelper({"handled-program", c.earlier, "0"});
        const Outcome ours = RunHelper({"handled-program", c.earlier, "1"});
        EXPECT_EQ(ours.status, alone.status);
        EXPECT_EQ(ours.said,
                  report + std::string(alone.said) + (c.goesOn ? atTheEnd : std::string()));
        EXPECT_EQ(ours.dump.empty(), alone.dump.empty());
    }
}

// The others wait, and the end of the first one is theirs.
TEST(Crash, OfThreadsThatCrashTogetherOneIsReported) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "threads that crash together wait for each other in the thread sanitizer";
#endif
    const Outcome outcome = Crash("null-write", "together", "1");
    // A sanitizer has more to say.
    EXPECT_EQ(outcome.said.rfind("************ Exception catched! Code: c0000005\n"), 0u);
    EXPECT_TRUE(kSanitized || outcome.signal == SIGSEGV);
}

TEST(Crash, WaitsForTheDebuggerItStarts) {
    const test::TempDir directory;
    // What is open in this process, whoever forgot to mark it, is not there.
    const int open = fcntl(STDIN_FILENO, F_DUPFD, 100);
    setenv("ZelDebuggerCommand",
           ("(echo %d; ls /proc/self/fd) > " + directory.File("asked") + "; exit 2").c_str(), 1);
    ZKL::AttachDebugger();  // fails without attaching: nobody waits for ever
    close(open);
    // The last one is the list's own.
    EXPECT_EQ(test::ReadFile(directory.File("asked")), std::to_string(getpid()) + "\n0\n1\n2\n3\n");
    // Neither there: not a word.
    testing::internal::CaptureStderr();
    setenv("ZelDebuggerCommand", "/nonexistent/debugger %d", 1);
    ZKL::AttachDebugger();
    setenv("ZelDebuggerCommand", "no-such-debugger", 1);
    ZKL::AttachDebugger();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unsetenv("ZelDebuggerCommand");
}

// A terminal that leaves the work to its server ends well before the debugger is there.
TEST(Crash, WaitsForADebuggerThatComesLater) {
    const test::TempDir directory;
    setenv("ZelDebuggerCommand", ("echo %d > " + directory.File("asked")).c_str(), 1);
    const pid_t child = fork();
    if (child == 0) {
        ZKL::AttachDebugger();
        _exit(waitpid(-1, nullptr, WNOHANG) < 0 ? 0 : 1);  // no child is left to wait for
    }
    unsetenv("ZelDebuggerCommand");
    while (!std::filesystem::exists(directory.File("asked"))) {
        usleep(1000);
    }
    usleep(200'000);  // the command has ended
    EXPECT_EQ(ptrace(PTRACE_SEIZE, child, nullptr, nullptr), 0);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
