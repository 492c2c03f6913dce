#include "diagnostics/CrashFilter.h"

#include <MekHost/system/MekSignalStack.h>

#include <cstdio>
#include <cstring>

#include "base/NativeLibrary.h"
#include "diagnostics/windows/Fault.h"

namespace ZKL {
namespace {

DWORD WINAPI React(void* argument) {
    const auto& fault = *static_cast<const Fault*>(argument);
    ReactToException(fault.pointers->ExceptionRecord->ExceptionCode, fault);
    return 0;
}

LONG WINAPI Filter(EXCEPTION_POINTERS* pointers) {
    Fault fault = {pointers, GetCurrentThreadId()};
    HANDLE other = nullptr;
    if (pointers->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        // What is left of the stack is too little for symbols and dumps.
        other = CreateThread(nullptr, 0, &React, &fault, 0, nullptr);
    }
    if (other != nullptr) {
        WaitForSingleObject(other, INFINITE);
        CloseHandle(other);
    } else {
        React(&fault);
    }
    return EXCEPTION_CONTINUE_SEARCH;
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
}

void WriteToStandardError(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

}  // namespace ZKL
