#include <windows.h>

#include <string>

#include "ZelREKernel/diagnostics/vCrashHandling.h"

namespace ZKL {
namespace {

constexpr DWORD kPollMs = 100;

// Empty when the system does not tell where its programs are.
std::wstring SystemDirectory() {
    wchar_t directory[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    return length != 0 && length < MAX_PATH ? directory : std::wstring();
}

}  // namespace

void AttachDebugger() {
    const std::wstring directory = SystemDirectory();
    if (directory.empty()) {
        return;
    }
    std::wstring command =
        directory + L"\\vsjitdebugger.exe -p " + std::to_wstring(GetCurrentProcessId());
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return;
    }
    CloseHandle(process.hThread);
    // A debugger that has ended will not attach any more.
    while (!IsDebuggerPresent() && WaitForSingleObject(process.hProcess, kPollMs) == WAIT_TIMEOUT) {
    }
    CloseHandle(process.hProcess);
}

}  // namespace ZKL
