#include "diagnostics/windows/CrashReport.h"

#include <MekHost/process/MekAbendInfo.h>
#include <tlhelp32.h>

#include <cstdio>
#include <string_view>

#include "core/LastLines.h"
#include "diagnostics/windows/CallStack.h"

namespace ZKL {
namespace {

void WriteHeading(std::FILE* file, std::string_view heading, std::string_view subject = {}) {
    std::fprintf(file, "==== %.*s%.*s ====\n", static_cast<int>(heading.size()), heading.data(),
                 static_cast<int>(subject.size()), subject.data());
}

// The name that was given to a thread, in UTF-8; empty where the system knows none.
std::string NameOf(DWORD id) {
    using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    const HMODULE library = GetModuleHandleW(L"KernelBase.dll");
    const FARPROC found =
        library != nullptr ? GetProcAddress(library, "GetThreadDescription") : nullptr;
    const HANDLE thread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, id);
    std::string name;
    wchar_t* wide = nullptr;
    if (found != nullptr && thread != nullptr &&
        SUCCEEDED(
            reinterpret_cast<GetDescription>(reinterpret_cast<void*>(found))(thread, &wide))) {
        char bytes[512] = {};
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, bytes, sizeof(bytes) - 1, nullptr, nullptr);
        name = bytes;
        LocalFree(wide);
    }
    if (thread != nullptr) {
        CloseHandle(thread);
    }
    return name;
}

void WriteThreads(std::FILE* file) {
    WriteHeading(file, "THREADS");
    const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (list == INVALID_HANDLE_VALUE) {
        return;
    }
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof(thread);
    for (BOOL more = Thread32First(list, &thread); more; more = Thread32Next(list, &thread)) {
        if (thread.th32OwnerProcessID == GetCurrentProcessId()) {
            std::fprintf(file, "%lu %s\n", thread.th32ThreadID,
                         NameOf(thread.th32ThreadID).c_str());
        }
    }
    CloseHandle(list);
}

}  // namespace

void WriteCrashReport(const std::wstring& dump, const Fault* fault) {
    const std::wstring path = dump.substr(0, dump.size() - 4) + L".txt";
    std::FILE* const file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr) {
        return;
    }
    if (fault != nullptr) {
        const EXCEPTION_RECORD& record = *fault->pointers->ExceptionRecord;
        WriteHeading(file, "FAULT");
        std::fprintf(file, "code 0x%08lX at 0x%012llx, thread %lu\n", record.ExceptionCode,
                     reinterpret_cast<unsigned long long>(record.ExceptionAddress),
                     fault->threadId);
    }
    WriteThreads(file);
    // Without the locks that the thread of the fault may hold.
    std::fflush(file);
    MekAbendInfo::WriteReportToDescriptor(_fileno(file));
    for (std::size_t channel = 0; channel < kLogChannels; ++channel) {
        LastLines::Copy copy;
        const LastLines& lines = LastLinesOf(channel);
        WriteHeading(file, "LAST LINES OF ", lines.Name());
        const std::string_view text = lines.Read(copy);
        std::fwrite(text.data(), 1, text.size(), file);
    }
    if (fault != nullptr) {
        WriteHeading(file, "CALL STACK");
        std::fputs(DescribeCallStack(*fault).c_str(), file);
    }
    std::fclose(file);
}

}  // namespace ZKL
