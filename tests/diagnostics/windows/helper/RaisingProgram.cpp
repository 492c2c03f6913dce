// raising-program CODE REACTIONS RAISED [over | earlier | resume]: sets the reactions to the
// exception CODE to all and then to REACTIONS, and raises the exception RAISED.
//
// Says on standard output what the system's function that sets the filter starts with and returns.
// With "over" that function is restored and its filter replaced between the two settings of CODE.
// With "earlier" there is a filter before; with "resume" it lets the program go on, which then
// raises CODE on another thread.

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ZelREKernel/diagnostics/vCrashHandling.h"

namespace {

LONG WINAPI Other(EXCEPTION_POINTERS*) {
    std::fputs("other filter\n", stderr);
    std::fflush(stderr);
    return EXCEPTION_CONTINUE_SEARCH;
}

LONG WINAPI Resume(EXCEPTION_POINTERS* pointers) {
    Other(pointers);
    return EXCEPTION_CONTINUE_EXECUTION;
}

DWORD WINAPI Raise(void* code) {
    RaiseException(*static_cast<const DWORD*>(code), 0, 0, nullptr);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const DWORD code = std::strtoul(argv[1], nullptr, 16);
    const char* const mode = argc > 4 ? argv[4] : "";
    if (std::strcmp(mode, "earlier") == 0 || std::strcmp(mode, "resume") == 0) {
        SetUnhandledExceptionFilter(mode[0] == 'e' ? &Other : &Resume);
    }
    auto* const set = reinterpret_cast<unsigned char*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetUnhandledExceptionFilter"));
    unsigned char first[3];
    std::memcpy(first, set, sizeof(first));
    ZKL::SetCustomExceptionFilter(code, 0xF);
    if (std::strcmp(mode, "over") == 0) {
        WriteProcessMemory(GetCurrentProcess(), set, first, sizeof(first), nullptr);
        SetUnhandledExceptionFilter(&Other);
    }
    ZKL::SetCustomExceptionFilter(code, static_cast<unsigned>(std::atoi(argv[2])));
    std::memcpy(first, set, sizeof(first));
    std::printf("%02x %02x %02x %s", first[0], first[1], first[2],
                SetUnhandledExceptionFilter(&Other) == nullptr ? "null" : "a filter");
    std::fflush(stdout);
    DWORD raised = std::strtoul(argv[3], nullptr, 16);
    Raise(&raised);
    // The filter let the program go on.
    raised = code;
    WaitForSingleObject(CreateThread(nullptr, 0, &Raise, &raised, 0, nullptr), INFINITE);
    return 0;
}
