#include <windows.h>

#include <string>

#include "diagnostics/CrashFilter.h"

namespace ZKL {
namespace {

constexpr DWORD kPollMs = 100;
// A person may have to answer for what the command has left the start to.
constexpr DWORD kGraceMs = 60'000;

// Empty when the system does not tell where its programs are.
std::wstring SystemDirectory() {
    wchar_t directory[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    return length != 0 && length < MAX_PATH ? directory : std::wstring();
}

// A program that fails brings no debugger. One that ends well may have asked another process for
// it.
void WaitForDebugger(HANDLE process) {
    for (DWORD graceMs = 0; graceMs < kGraceMs && !IsDebuggerPresent();) {
        DWORD exitCode = 0;
        if (WaitForSingleObject(process, kPollMs) == WAIT_TIMEOUT) {
            continue;
        }
        if (!GetExitCodeProcess(process, &exitCode) || exitCode != 0) {
            return;
        }
        Sleep(kPollMs);
        graceMs += kPollMs;
    }
}

}  // namespace

void StartAndAwaitDebugger(bool) {
    if (IsDebuggerPresent()) {
        return;
    }
    const std::wstring directory = SystemDirectory();
    if (directory.empty()) {
        return;
    }
    // Named for itself: in the command line alone a blank in the directory would end the name.
    const std::wstring program = directory + L"\\vsjitdebugger.exe";
    std::wstring command = program + L" -p " + std::to_wstring(GetCurrentProcessId());
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &process)) {
        return;
    }
    CloseHandle(process.hThread);
    WaitForDebugger(process.hProcess);
    CloseHandle(process.hProcess);
}

}  // namespace ZKL
