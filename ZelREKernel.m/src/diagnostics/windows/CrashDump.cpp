#include <ctime>
#include <string>

#include "base/windows/QuietErrors.h"
#include "diagnostics/CrashFilter.h"
#include "diagnostics/windows/CrashReport.h"
#include "diagnostics/windows/DebugHelp.h"

namespace ZKL {
namespace {

// Developer machines keep their dumps on a drive of their own; where there is none, none is
// written.
constexpr wchar_t kDrive = L'E';

std::wstring MakeDumpPath() {
    const std::time_t now = std::time(nullptr);
    char name[64] = {};
    std::strftime(name, sizeof(name), ":\\MiniDump-%d-%m%Y_%Hh%M.dmp", std::localtime(&now));
    std::wstring path(1, kDrive);
    for (const char* c = name; *c != '\0'; ++c) {
        path += static_cast<wchar_t>(*c);
    }
    return path;
}

void WriteMiniDump(const std::wstring& path, const Fault* fault) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return;
    }
    if (const DebugHelp& help = DebugHelp::Get(); help.miniDumpWriteDump != nullptr) {
        MINIDUMP_EXCEPTION_INFORMATION exception = {};
        if (fault != nullptr) {
            exception.ThreadId = fault->threadId;
            exception.ExceptionPointers = fault->pointers;
        }
        help.miniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file,
                               MiniDumpWithFullMemory, fault != nullptr ? &exception : nullptr,
                               nullptr, nullptr);
    }
    CloseHandle(file);
}

}  // namespace

void WriteCrashDump(const Fault* fault) {
    const QuietErrors quiet;
    const std::wstring path = MakeDumpPath();
    WriteMiniDump(path, fault);
    // Worth having without the dump, too.
    WriteCrashReport(path, fault);
}

}  // namespace ZKL
