#include "diagnostics/CrashFilter.h"

#include <MekHost/system/MekSignalStack.h>

#include <csignal>
#include <cstdio>

#include "base/NativeLibrary.h"
#include "diagnostics/ReportTurn.h"
#include "diagnostics/windows/Fault.h"

namespace ZKL {
namespace {

// The code of a program that has ended itself; missing in some headers, as is the other.
constexpr DWORD kFatalAppExit = 0x40000015;
constexpr DWORD kHeapCorruption = 0xC0000374;

DWORD WINAPI React(void* argument) {
    const auto& fault = *static_cast<const Fault*>(argument);
    ReactToException(fault.pointers->ExceptionRecord->ExceptionCode, fault);
    return 0;
}

DWORD WINAPI ReactForAnother(void* argument) {
    ReportTurn::PassToThisThread();
    return React(argument);
}

void Report(EXCEPTION_POINTERS* pointers, bool isTheEnd) {
    ReportTurn turn;
    if (!turn.IsOurs()) {
        return;
    }
    Fault fault = {pointers, GetCurrentThreadId()};
    HANDLE other = nullptr;
    if (pointers->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        // What is left of the stack is too little for symbols and dumps.
        other = CreateThread(nullptr, 0, &ReactForAnother, &fault, 0, nullptr);
    }
    if (other != nullptr) {
        WaitForSingleObject(other, INFINITE);
        CloseHandle(other);
    } else {
        React(&fault);
    }
    if (isTheEnd) {
        turn.KeepToTheEnd();
    }
}

LONG WINAPI Filter(EXCEPTION_POINTERS* pointers) {
    if (pointers->ExceptionRecord->ExceptionCode != kHeapCorruption) {
        Report(pointers, true);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

// The system ends a process whose heap it finds broken without asking the filter, but tells those
// who want to hear of an exception first.
LONG WINAPI OnException(EXCEPTION_POINTERS* pointers) {
    if (pointers->ExceptionRecord->ExceptionCode == kHeapCorruption) {
        Report(pointers, false);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

using AbortHandler = void (*)(int);
AbortHandler s_earlierAbort = SIG_DFL;

// abort() is no exception here, but the run-time library's signal on the thread that called it. So
// an uncaught C++ exception ends, too. The process ends when the handler has returned.
void OnAbort(int signal) {
    EXCEPTION_RECORD record = {};
    CONTEXT context = {};
    RtlCaptureContext(&context);
    record.ExceptionCode = kFatalAppExit;
    record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
    record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
    EXCEPTION_POINTERS pointers = {&record, &context};
    Report(&pointers, false);
    if (s_earlierAbort != SIG_DFL && s_earlierAbort != SIG_IGN) {
        s_earlierAbort(signal);
    }
}

// From now on the system's function that sets the filter returns null and does nothing: run-time
// libraries and plug-ins like to put theirs in its place.
void CloseTheDoor() {
    constexpr unsigned char kReturnNull[] = {0x33, 0xC0, 0xC3};  // xor eax, eax; ret
    const HMODULE kernel = LoadLibraryW(L"kernel32.dll");
    const FARPROC found =
        kernel != nullptr ? GetProcAddress(kernel, "SetUnhandledExceptionFilter") : nullptr;
    if (found != nullptr) {
        WriteProcessMemory(GetCurrentProcess(), reinterpret_cast<void*>(found), kReturnNull,
                           sizeof(kReturnNull), nullptr);
    }
}

}  // namespace

void InstallExceptionFilter() {
    static const MekSignalStack s_stack;
    // Nothing can take the filter back once the door is closed, so its code has to stay.
    KeepLibraryLoaded(reinterpret_cast<const void*>(&Filter));
    SetUnhandledExceptionFilter(&Filter);
    CloseTheDoor();
    AddVectoredExceptionHandler(0, &OnException);
    s_earlierAbort = std::signal(SIGABRT, &OnAbort);
}

void WriteToStandardError(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

}  // namespace ZKL
