#include "diagnostics/CrashFilter.h"

#include <MekHost/system/MekSignalStack.h>
#include <io.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>

#include "base/NativeLibrary.h"
#include "diagnostics/ReportTurn.h"
#include "diagnostics/windows/Fault.h"

namespace ZKL {
namespace {

// The code of a program that has ended itself; missing in some headers, as is the other.
constexpr DWORD kFatalAppExit = 0x40000015;
constexpr DWORD kHeapCorruption = 0xC0000374;

// A thread that does nothing for so long waits for what the crashed one holds.
constexpr DWORD kPatienceMs = 30'000;

bool React(const Fault& fault) {
    return ReactToException(fault.pointers->ExceptionRecord->ExceptionCode, fault);
}

// False when the thread has stopped working: for a dump and for a debugger it takes its time.
bool WaitFor(HANDLE thread) {
    ULONG64 before = 0;
    for (ULONG64 cycles = 0; WaitForSingleObject(thread, kPatienceMs) == WAIT_TIMEOUT;) {
        before = cycles;
        if (!QueryThreadCycleTime(thread, &cycles) || cycles == before) {
            return false;
        }
    }
    return true;
}

// Not on the stack of the crashed thread, which may be gone before the other is.
Fault s_faultOfAnother;
std::atomic<bool> s_reacted;

DWORD WINAPI ReactForAnother(void*) {
    ReportTurn::PassToThisThread();
    s_reacted = React(s_faultOfAnother);
    return 0;
}

// True when there was something to do about it.
bool Report(EXCEPTION_POINTERS* pointers, ReportTurn& turn) {
    const Fault fault = {pointers, GetCurrentThreadId()};
    HANDLE other = nullptr;
    if (pointers->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        // What is left of the stack is too little for symbols and dumps.
        s_faultOfAnother = fault;
        other = CreateThread(nullptr, 0, &ReactForAnother, nullptr, 0, nullptr);
    }
    if (other == nullptr) {
        return React(fault);
    }
    const bool ended = WaitFor(other);
    CloseHandle(other);
    turn.TakeBack();
    return !ended || s_reacted;
}

// The filter that was there before, and the frame that calls it on the thread whose turn lapses.
std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> s_earlierFilter{nullptr};
std::atomic<std::uintptr_t> s_callersFrame{0};

LONG WINAPI Filter(EXCEPTION_POINTERS* pointers) {
    ReportTurn turn;
    const bool inEarlierFilter =
        turn.IsTakenAnew() && pointers->ContextRecord->Rsp < s_callersFrame.load();
    const bool reported = turn.IsOurs() && !inEarlierFilter &&
                          pointers->ExceptionRecord->ExceptionCode != kHeapCorruption &&
                          Report(pointers, turn);
    if (!inEarlierFilter) {
        s_callersFrame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    }
    turn.LetLapse();
    const LPTOP_LEVEL_EXCEPTION_FILTER earlier = s_earlierFilter;
    const LONG answer = earlier != nullptr ? earlier(pointers) : EXCEPTION_CONTINUE_SEARCH;
    if (reported && answer != EXCEPTION_CONTINUE_EXECUTION) {
        turn.KeepToTheEnd();
    }
    return answer;
}

// The system ends a process whose heap it finds broken without asking the filter, but tells those
// who want to hear of an exception first.
LONG WINAPI OnException(EXCEPTION_POINTERS* pointers) {
    if (pointers->ExceptionRecord->ExceptionCode == kHeapCorruption) {
        ReportTurn turn;
        if (turn.IsOurs() && Report(pointers, turn)) {
            turn.KeepForAWhile();
        }
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

using AbortHandler = void (*)(int);
AbortHandler s_earlierAbort = SIG_DFL;

// abort() is no exception here, but the run-time library's signal on the thread that called it. So
// an uncaught C++ exception ends, too. The process ends when the handler has returned, but for a
// signal that was raised without abort().
void OnAbort(int signal) {
    EXCEPTION_RECORD record = {};
    CONTEXT context = {};
    RtlCaptureContext(&context);
    record.ExceptionCode = kFatalAppExit;
    record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
    record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
    EXCEPTION_POINTERS pointers = {&record, &context};
    ReportTurn turn;
    const bool reported = turn.IsOurs() && Report(&pointers, turn);
    turn.LetLapse();
    if (s_earlierAbort != SIG_DFL && s_earlierAbort != SIG_IGN) {
        s_earlierAbort(signal);
    }
    if (reported) {
        turn.KeepForAWhile();
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
    s_earlierFilter = SetUnhandledExceptionFilter(&Filter);
    CloseTheDoor();
    AddVectoredExceptionHandler(0, &OnException);
    s_earlierAbort = std::signal(SIGABRT, &OnAbort);
}

// Past the C run-time, whose lock the crashed thread may hold.
void WriteToStandardError(std::string_view text) {
    auto* const file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stderr)));
    DWORD written = 0;
    for (; !text.empty(); text.remove_prefix(written)) {
        if (!WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
            written == 0) {
            return;
        }
    }
}

}  // namespace ZKL
