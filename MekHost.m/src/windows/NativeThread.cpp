#include "common/NativeThread.h"

#include <process.h>
#include <windows.h>

#include <limits>
#include <memory>
#include <new>

#include "MekHost/MekStatus.h"
#include "windows/WideText.h"

namespace mek {
namespace {

struct Start {
    std::wstring name;
    void (*entry)(void*);
    void* argument;
};

HANDLE HandleOf(std::uintptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// Older systems know no thread names and lack the call.
void NameThisThread(const wchar_t* name) {
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const HMODULE library = GetModuleHandleW(L"KernelBase.dll");
    const FARPROC found = library ? GetProcAddress(library, "SetThreadDescription") : nullptr;
    if (found) {
        const auto call = reinterpret_cast<SetDescription>(reinterpret_cast<void*>(found));
        call(GetCurrentThread(), name);
    }
}

unsigned __stdcall Main(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    if (!start->entry) {
        return 0;  // its processor was refused
    }
    if (!start->name.empty()) {
        NameThisThread(start->name.c_str());
    }
    start->entry(start->argument);
    return 0;
}

// Processors are numbered through the groups, of at most 64 each, in their order.
bool BindTo(HANDLE thread, unsigned processor) {
    const WORD groups = GetActiveProcessorGroupCount();
    for (WORD group = 0; group < groups; ++group) {
        const DWORD count = GetActiveProcessorCount(group);
        if (processor < count) {
            GROUP_AFFINITY affinity{};
            affinity.Group = group;
            affinity.Mask = KAFFINITY{1} << processor;
            return SetThreadGroupAffinity(thread, &affinity, nullptr) != 0;
        }
        processor -= count;
    }
    return false;
}

}  // namespace

std::int32_t StartThread(const ThreadSettings& settings, void (*entry)(void*), void* argument,
                         std::uintptr_t* handle) {
    if (settings.stackBytes > std::numeric_limits<unsigned>::max()) {
        return kMekOutOfMemory;
    }
    std::unique_ptr<Start> start(new (std::nothrow) Start{ToWide(settings.name), entry, argument});
    if (!start) {
        return kMekOutOfMemory;
    }
    // The run-time's own call, so that it can set up and clear away what it keeps per thread.
    const std::uintptr_t thread =
        _beginthreadex(nullptr, static_cast<unsigned>(settings.stackBytes), &Main, start.get(),
                       CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0) {
        return kMekOutOfMemory;
    }
    const bool isBound = settings.processor < 0 ||
                         BindTo(HandleOf(thread), static_cast<unsigned>(settings.processor));
    if (!isBound) {
        start->entry = nullptr;
    }
    static_cast<void>(start.release());  // Main's from here on
    ResumeThread(HandleOf(thread));
    if (!isBound) {
        JoinThread(thread);
        return kMekInvalidParameter;
    }
    *handle = thread;
    return kMekOk;
}

void JoinThread(std::uintptr_t handle) {
    WaitForSingleObject(HandleOf(handle), INFINITE);
    CloseHandle(HandleOf(handle));
}

void DetachThread(std::uintptr_t handle) {
    CloseHandle(HandleOf(handle));
}

const void* ThisThread() {
    return reinterpret_cast<const void*>(std::uintptr_t{GetCurrentThreadId()});
}

}  // namespace mek
