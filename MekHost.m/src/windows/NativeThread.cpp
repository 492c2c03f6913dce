#include "common/NativeThread.h"

#include <process.h>
#include <windows.h>
#include <winternl.h>

#include <cstddef>
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
    HANDLE begun = nullptr;    // the starter's, who waits for it
    HANDLE left = nullptr;     // the thread's own
    HMODULE module = nullptr;  // this library, which the thread holds
};

// What a thread handle stands for.
struct Thread {
    HANDLE thread = nullptr;
    HANDLE left = nullptr;  // signalled when the thread's work is done
};

// Null without memory.
std::unique_ptr<Start> MakeStart(const ThreadSettings& settings, void (*entry)(void*),
                                 void* argument) {
    try {
        return std::unique_ptr<Start>(new Start{ToWide(settings.name), entry, argument});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Thread* ThreadOf(std::uintptr_t handle) {
    return reinterpret_cast<Thread*>(handle);
}

void Close(Thread* thread) {
    CloseHandle(thread->thread);
    CloseHandle(thread->left);
    delete thread;
}

bool IsHeldHere(const CRITICAL_SECTION& lock) {
    return reinterpret_cast<std::uintptr_t>(lock.OwningThread) == GetCurrentThreadId();
}

// The loader's lock, or null where it was not found. No documented call tells who holds it; the
// process's record has pointed to it from the same place since the first 64-bit system. That is
// trusted only when it holds true here, while this library is loaded: the lock is one of the
// loader's own and held by this thread.
const CRITICAL_SECTION* FindLoaderLock() {
    constexpr std::size_t kLoaderLock = 0x110;
    constexpr std::size_t kSlot = (kLoaderLock - offsetof(PEB, Reserved9)) / sizeof(void*);
    // Not by NtCurrentTeb(), about which this compiler warns.
    const PEB* record = nullptr;
    asm volatile("movq %%gs:0x60, %0" : "=r"(record));
    const void* const found = record->Reserved9[kSlot];
    HMODULE owner = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<PCWSTR>(found), &owner) ||
        owner != GetModuleHandleW(L"ntdll.dll")) {
        return nullptr;
    }
    const auto* const lock = static_cast<const CRITICAL_SECTION*>(found);
    return IsHeldHere(*lock) ? lock : nullptr;
}

const CRITICAL_SECTION* const s_loaderLock = FindLoaderLock();

// Fetched, since the loader's import library would offer its C functions as well, which are lesser
// ones.
using IsShuttingDown = BOOLEAN(NTAPI*)();

IsShuttingDown FindIsShuttingDown() {
    const FARPROC found =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
    return reinterpret_cast<IsShuttingDown>(reinterpret_cast<void*>(found));
}

const IsShuttingDown s_isShuttingDown = FindIsShuttingDown();

// While a library is loaded or unloaded its thread holds the loader's lock, and meanwhile no thread
// can begin or end. So a thread tells that its work is done, from here and not from the library
// whose work it was, and holds this library until it ends; and who starts a thread waits until it
// has begun, so that it can be waited for under the lock later. Where the lock was not found it
// counts as held: nobody waits for a thread's beginning or end then, which at worst leaves a joined
// thread a moment more to live.
bool MayHoldLoaderLock() {
    return s_loaderLock == nullptr || IsHeldHere(*s_loaderLock);
}

void Leave(HANDLE left, HMODULE module) {
    SetEvent(left);
    CloseHandle(left);
    FreeLibraryAndExitThread(module, 0);
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
    std::unique_ptr<Start> start(static_cast<Start*>(argument));
    if (!start->name.empty()) {
        NameThisThread(start->name.c_str());  // which takes the loader's lock, too
    }
    if (start->begun) {
        SetEvent(start->begun);
    }
    if (start->entry) {  // else its processor was refused
        start->entry(start->argument);
    }
    const HANDLE left = start->left;
    const HMODULE module = start->module;
    start.reset();
    Leave(left, module);
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
    std::unique_ptr<Start> start = MakeStart(settings, entry, argument);
    std::unique_ptr<Thread> made(new (std::nothrow) Thread);
    if (!start || !made) {
        return kMekOutOfMemory;
    }
    made->left = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE self = GetCurrentProcess();
    if (!made->left ||
        !DuplicateHandle(self, made->left, self, &start->left, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
        CloseHandle(made->left);
        return kMekOutOfMemory;
    }
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<PCWSTR>(&Main),
                       &start->module);
    // The run-time's own call, so that it can set up and clear away what it keeps per thread.
    const std::uintptr_t thread =
        _beginthreadex(nullptr, static_cast<unsigned>(settings.stackBytes), &Main, start.get(),
                       CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0) {
        CloseHandle(made->left);
        CloseHandle(start->left);
        FreeLibrary(start->module);
        return kMekOutOfMemory;
    }
    made->thread = reinterpret_cast<HANDLE>(thread);
    const bool isBound =
        settings.processor < 0 || BindTo(made->thread, static_cast<unsigned>(settings.processor));
    if (!isBound) {
        start->entry = nullptr;
    }
    const HANDLE begun =
        MayHoldLoaderLock() ? nullptr : CreateEventW(nullptr, TRUE, FALSE, nullptr);
    start->begun = begun;
    static_cast<void>(start.release());  // Main's from here on
    ResumeThread(made->thread);
    if (begun) {
        WaitForSingleObject(begun, INFINITE);
        CloseHandle(begun);
    }
    *handle = reinterpret_cast<std::uintptr_t>(made.release());
    if (!isBound) {
        JoinThread(*handle);
        return kMekInvalidParameter;
    }
    return kMekOk;
}

void JoinThread(std::uintptr_t handle) {
    Thread* const thread = ThreadOf(handle);
    // The thread's end comes first where the process ends and the system has ended the thread.
    const HANDLE either[] = {thread->thread, thread->left};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
    if (!MayHoldLoaderLock()) {
        WaitForSingleObject(thread->thread, INFINITE);
    }
    Close(thread);
}

void DetachThread(std::uintptr_t handle) {
    Close(ThreadOf(handle));
}

std::uint32_t ThisProcess() {
    return 0;  // processes are not made of others here
}

const void* ThisThread() {
    return reinterpret_cast<const void*>(std::uintptr_t{GetCurrentThreadId()});
}

bool AreThreadsGone() {
    return s_isShuttingDown();
}

}  // namespace mek
