// raising-program CODE REACTIONS RAISED [over]: sets the reactions to the exception CODE to all and
// then to REACTIONS, and raises the exception RAISED.
//
// Says on standard output what the system's function that sets the filter starts with and returns.
// With "over" that function is restored and its filter replaced between the two settings of CODE.

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

}  // namespace

int main(int argc, char** argv) {
    const auto code = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 16));
    auto* const set = reinterpret_cast<unsigned char*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetUnhandledExceptionFilter"));
    unsigned char first[3];
    std::memcpy(first, set, sizeof(first));
    ZKL::SetCustomExceptionFilter(code, 0xF);
    if (argc > 4) {
        WriteProcessMemory(GetCurrentProcess(), set, first, sizeof(first), nullptr);
        SetUnhandledExceptionFilter(&Other);
    }
    ZKL::SetCustomExceptionFilter(code, static_cast<unsigned>(std::atoi(argv[2])));
    std::memcpy(first, set, sizeof(first));
    std::printf("%02x %02x %02x %s", first[0], first[1], first[2],
                SetUnhandledExceptionFilter(&Other) == nullptr ? "null" : "a filter");
    std::fflush(stdout);
    RaiseException(std::strtoul(argv[3], nullptr, 16), 0, 0, nullptr);
    return 0;
}
