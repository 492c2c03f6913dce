#include <windows.h>
// After the system's own types.
#include <dbghelp.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <regex>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "support/TempDir.h"

namespace {

const std::filesystem::path kDumps = "E:\\";

struct Outcome {
    DWORD exitCode = 0;
    DWORD processId = 0;
    std::string said;   // on standard error
    std::string wrote;  // on standard output
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

HANDLE MakeFile(const std::string& name) {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    return CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Runs it to its end, or until it has said `enough`.
Outcome RunProgram(const test::TempDir& directory, std::string command,
                   const char* enough = nullptr) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdError = MakeFile(directory.File("said"));
    startup.hStdOutput = MakeFile(directory.File("wrote"));
    PROCESS_INFORMATION process = {};
    command.insert(0, ZEL_TEST_BIN_DIR "/");
    EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                               &startup, &process));
    CloseHandle(startup.hStdError);
    CloseHandle(startup.hStdOutput);
    while (WaitForSingleObject(process.hProcess, 20) == WAIT_TIMEOUT) {
        if (enough != nullptr && Contains(test::ReadText(directory.File("said")), enough)) {
            TerminateProcess(process.hProcess, 0);
        }
    }
    Outcome outcome = {0, process.dwProcessId, test::ReadText(directory.File("said")),
                       test::ReadText(directory.File("wrote"))};
    GetExitCodeProcess(process.hProcess, &outcome.exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return outcome;
}

Outcome RunProgram(const std::string& command, const char* enough = nullptr) {
    const test::TempDir directory;
    return RunProgram(directory, command, enough);
}

// The only file of a dump with this ending; empty without one.
std::filesystem::path FindDump(const std::string& ending) {
    // The root of an empty drive cannot be listed.
    std::error_code empty;
    for (const auto& entry : std::filesystem::directory_iterator(kDumps, empty)) {
        if (std::regex_match(entry.path().filename().string(),
                             std::regex("MiniDump-\\d\\d-\\d{6}_\\d\\dh\\d\\d\\" + ending))) {
            return entry.path();
        }
    }
    return {};
}

void RemoveDumps() {
    for (const char* const ending : {".dmp", ".txt"}) {
        for (auto path = FindDump(ending); !path.empty(); path = FindDump(ending)) {
            std::filesystem::remove(path);
        }
    }
}

// What a dump tells of the exception, as the system's own reader finds it; 0 without one.
MINIDUMP_EXCEPTION_STREAM ExceptionIn(const std::filesystem::path& dump) {
    const HANDLE file = CreateFileW(dump.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    void* const view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    const auto read = reinterpret_cast<decltype(&::MiniDumpReadDumpStream)>(reinterpret_cast<void*>(
        GetProcAddress(LoadLibraryW(L"dbghelp.dll"), "MiniDumpReadDumpStream")));
    void* stream = nullptr;
    MINIDUMP_EXCEPTION_STREAM found = {};
    if (view != nullptr && read(view, ExceptionStream, nullptr, &stream, nullptr)) {
        found = *static_cast<MINIDUMP_EXCEPTION_STREAM*>(stream);
    }
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    CloseHandle(file);
    return found;
}

// Puts the stand-in where the system has its debugger, where nobody else's machine is changed.
class Crash : public testing::Test {
protected:
    void SetUp() override {
        if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
            GTEST_SKIP() << "replaces a program of the system and fills drive E:, under Wine alone";
        }
        ASSERT_TRUE(std::filesystem::exists(kDumps)) << "scripts/lib/with-wine makes drive E:";
        wchar_t system[MAX_PATH] = {};
        GetSystemDirectoryW(system, MAX_PATH);
        debugger_ = std::filesystem::path(system) / L"vsjitdebugger.exe";
    }
    void PutDebugger() {
        std::filesystem::copy_file(ZEL_TEST_BIN_DIR "/debugger-stand-in.exe", debugger_,
                                   std::filesystem::copy_options::overwrite_existing);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove(debugger_, ignored);
    }

    std::filesystem::path debugger_;
};

// The first setting closes the system's door behind it; a later one changes the table alone.
TEST_F(Crash, TheFilterIsSetOnceAndForAll) {
    const std::string says = "************ Exception catched! Code: e0001234\n";
    const struct {
        const char* arguments;
        std::string said;
        const char* wrote;
    } cases[] = {
        {"e0001234 1 e0001234", says, "33 c0 c3 null"},
        {"e0001234 0 e0001234", "", "33 c0 c3 null"},
        {"e0001233 15 e0001234", "", "33 c0 c3 null"},
        {"e0001234 1 e0001234 over", "other filter\n", "a filter"},
        // The filter that was there before hears of all, and may take the end back: the next report
        // is made then, whichever thread it is of.
        {"e0001234 1 e0001234 earlier", says + "other filter\n", "33 c0 c3 null"},
        {"e0001233 1 e0001234 earlier", "other filter\n", "33 c0 c3 null"},
        {"e0001234 1 e0001234 resume", says + "other filter\n" + says + "other filter\n",
         "33 c0 c3 null"},
        {"e0001234 1 e0001233 resume", "other filter\n" + says + "other filter\n", "33 c0 c3 null"},
        // Reported by a thread that has room for it.
        {"c00000fd 1 c00000fd", "************ Exception catched! Code: c00000fd\n",
         "33 c0 c3 null"},
        // Told to those who hear of exceptions first, and not once more.
        {"c0000374 1 c0000374", "************ Exception catched! Code: c0000374\n",
         "33 c0 c3 null"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = RunProgram(std::string("raising-program.exe ") + c.arguments);
        EXPECT_EQ(outcome.said, c.said) << c.arguments;
        EXPECT_EQ(outcome.wrote.substr(c.wrote[0] == '3' ? 0 : 9), c.wrote) << c.arguments;
    }
}

TEST_F(Crash, FaultsAreReportedWhereverTheyHappen) {
    const struct {
        const char* kind;
        DWORD exitCode;
        const char* says;
        const char* function;
        const char* enough = nullptr;
    } kinds[] = {{"null-write", 0xC0000005, "c0000005", "NullWrite"},
                 {"bad-jump", 0xC0000005, "c0000005", "BadJump"},
                 {"division", 0xC0000094, "c0000094", "Division"},
                 {"trap", 0x80000003, "80000003", "Trap"},
                 {"abort", 3, "40000015", "Abort"},
                 {"exception", 3, "40000015", "Exception"},
                 // Wine's own part in the end of a process finds no stack to stand on.
                 {"stack-overflow", 0, "c00000fd", "StackOverflow", "RtlUserThreadStart ("}};
    for (const auto& kind : kinds) {
        for (const char* const where : {"main", "worker", "arena"}) {
            const Outcome outcome = RunProgram(
                std::string("crashing-program.exe ") + kind.kind + " " + where + " 3", kind.enough);
            EXPECT_EQ(outcome.exitCode, kind.exitCode) << kind.kind;
            EXPECT_TRUE(Contains(outcome.said, "************ Exception catched! Code: " +
                                                   std::string(kind.says) + "\n# 0  0x0"))
                << outcome.said;
            EXPECT_TRUE(std::regex_search(outcome.said,
                                          std::regex("  CrashBy" + std::string(kind.function) +
                                                     " \\(.*CrashingProgram.cpp:\\d+\\)")))
                << outcome.said;
        }
    }
}

TEST_F(Crash, DoesNoMoreThanItWasToldTo) {
    const std::string says = "************ Exception catched! Code: 40000015\n";
    const struct {
        const char* reactions;
        std::string said;
        DWORD dumped;
    } cases[] = {{"0", "", 0}, {"1", says, 0}, {"9", says, 0x40000015}};
    for (const auto& c : cases) {
        RemoveDumps();
        EXPECT_EQ(RunProgram(std::string("crashing-program.exe abort main ") + c.reactions).said,
                  c.said);
        EXPECT_EQ(ExceptionIn(FindDump(".dmp")).ExceptionRecord.ExceptionCode, c.dumped);
    }
}

TEST_F(Crash, DumpsAProcessThatIsWell) {
    RemoveDumps();
    const std::string mark =
        "a text that only this process has " + std::to_string(GetCurrentProcessId());
    ZKL::CreateMiniDump();
    EXPECT_EQ(ExceptionIn(FindDump(".dmp")).ExceptionRecord.ExceptionCode, 0u);
    EXPECT_TRUE(Contains(test::ReadFile(FindDump(".dmp").string()), mark));
    EXPECT_EQ(test::ReadText(FindDump(".txt").string()).rfind("==== THREADS ====\n", 0), 0u);

    // The text is there where the dump cannot be made: folders have this minute's name and the
    // next.
    RemoveDumps();
    for (const int later : {0, 60}) {
        const std::time_t when = std::time(nullptr) + later;
        char name[64];
        std::strftime(name, sizeof(name), "MiniDump-%d-%m%Y_%Hh%M.dmp", std::localtime(&when));
        std::filesystem::create_directory(kDumps / name);
    }
    ZKL::CreateMiniDump();
    EXPECT_FALSE(FindDump(".txt").empty());
    RemoveDumps();
}

// The others wait, and the end of the first one is theirs.
TEST_F(Crash, OfThreadsThatCrashTogetherOneIsReported) {
    EXPECT_EQ(RunProgram("crashing-program.exe null-write together 1").said,
              "************ Exception catched! Code: c0000005\n");
}

// A debugger that is not there, and one that ends without attaching, hold nobody up.
TEST_F(Crash, NobodyWaitsForADebuggerThatIsNotThere) {
    SetEnvironmentVariableA("ZEL_ASKED", nullptr);
    EXPECT_EQ(RunProgram("crashing-program.exe null-write main 4").said, "");
    PutDebugger();
    EXPECT_EQ(RunProgram("crashing-program.exe null-write main 4").exitCode, 0xC0000005);
}

// All reactions in their order: what was said before the debugger came, what was dumped after.
TEST_F(Crash, ReactionsComeInTheirOrder) {
    RemoveDumps();
    PutDebugger();
    const test::TempDir directory;
    SetEnvironmentVariableA("ZEL_ASKED", directory.File("asked").c_str());
    SetEnvironmentVariableA("ZEL_SAID", directory.File("said").c_str());
    const Outcome outcome = RunProgram(directory, "crashing-program.exe null-write worker 15");
    SetEnvironmentVariableA("ZEL_ASKED", nullptr);
    EXPECT_EQ(outcome.exitCode, 0xC0000005);
    EXPECT_EQ(test::ReadText(directory.File("asked")),
              "-p " + std::to_string(outcome.processId) + "\n" + outcome.said);
    EXPECT_TRUE(Contains(outcome.said, "Code: c0000005\n# 0  0x0")) << outcome.said;

    EXPECT_EQ(ExceptionIn(FindDump(".dmp")).ExceptionRecord.ExceptionCode, 0xC0000005);
    const std::string report = test::ReadText(FindDump(".txt").string());
    const DWORD thread = ExceptionIn(FindDump(".dmp")).ThreadId;
    for (const std::string& part :
         {std::string("==== FAULT ====\ncode 0xC0000005 at 0x"),
          ", thread " + std::to_string(thread) + "\n==== THREADS ====\n",
          std::string(" Zelo:LogFlusher\n"),
          std::string("==== ZELO INFORMATION ====\na line of the crash report\n"),
          std::string("==== LAST LINES OF Default ====\n[INFO]\t : a line of the log\n"),
          std::string("==== CALL STACK ====\n# 0  0x0")}) {
        EXPECT_TRUE(Contains(report, part)) << part << "\nin\n" << report;
    }
}

}  // namespace
