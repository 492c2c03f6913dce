#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "support/TempDir.h"

namespace {

// Runs a program as its debugger until it ends.
class Debugger {
public:
    explicit Debugger(std::string commandLine) {
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        if (CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE,
                           DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr, &startup, &process_) == 0) {
            ADD_FAILURE() << "no process: " << GetLastError();
            return;
        }
        DEBUG_EVENT event;
        while (isRunning_ && WaitForDebugEvent(&event, 60'000)) {
            const DWORD answer = Handle(event);
            ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
        }
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
    }

    std::string received;
    DWORD exitCode = STILL_ACTIVE;

private:
    DWORD Handle(const DEBUG_EVENT& event) {
        switch (event.dwDebugEventCode) {
            case OUTPUT_DEBUG_STRING_EVENT: {
                const OUTPUT_DEBUG_STRING_INFO& info = event.u.DebugString;
                std::string text(info.nDebugStringLength, '\0');
                ReadProcessMemory(process_.hProcess, info.lpDebugStringData, text.data(),
                                  text.size(), nullptr);
                received += text.c_str();
                return DBG_CONTINUE;
            }
            case EXCEPTION_DEBUG_EVENT:
                return event.u.Exception.ExceptionRecord.ExceptionCode == EXCEPTION_BREAKPOINT
                           ? DBG_CONTINUE
                           : DBG_EXCEPTION_NOT_HANDLED;
            case EXIT_PROCESS_DEBUG_EVENT:
                exitCode = event.u.ExitProcess.dwExitCode;
                isRunning_ = false;
                return DBG_CONTINUE;
            case CREATE_PROCESS_DEBUG_EVENT:
                CloseHandle(event.u.CreateProcessInfo.hFile);
                return DBG_CONTINUE;
            case LOAD_DLL_DEBUG_EVENT:
                CloseHandle(event.u.LoadDll.hFile);
                return DBG_CONTINUE;
            default:
                return DBG_CONTINUE;
        }
    }

    PROCESS_INFORMATION process_ = {};
    bool isRunning_ = true;
};

TEST(StreamOutput, GivesItsTextToAnAttachedDebuggerAlone) {
    const test::TempDir directory;
    const std::string out = directory.File("out");
    const std::string err = directory.File("err");
    const Debugger debugger("\"" ZEL_TEST_BIN_DIR "/core-child.exe\" debugged \"" + out + "\" \"" +
                            err + "\"");
    EXPECT_EQ(debugger.exitCode, 0u);
    // Longer than what the system hands over at once.
    EXPECT_EQ(debugger.received, "to the debugger\n" + std::string(5000, 'x'));
    EXPECT_EQ(test::ReadText(out), "buffered ");
    EXPECT_EQ(test::ReadText(err), "");
}

}  // namespace
