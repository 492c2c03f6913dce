#include "tasks/reload/Loading.h"

#include <gtest/gtest.h>
#include <windows.h>
// After the system's own types.
#include <tlhelp32.h>

namespace test {
namespace {

std::size_t CountThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
    }
    CloseHandle(snapshot);
    return count;
}

std::size_t CountHandles() {
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? count : 0;
}

// In all heaps: the run-time library's malloc has one of its own.
std::size_t CountHeapBytes() {
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count && i < 64; ++i) {
        PROCESS_HEAP_ENTRY entry = {};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &entry)) {
            bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        }
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

}  // namespace

const int kRounds = 100;
// The loader keeps 48 bytes in every third round, whatever library it is.
const std::size_t kKeptPerRound = 64;

void* LoadUser() {
    void* const library = LoadLibraryA(ZEL_TEST_BIN_DIR "/tasks-reload-user.dll");
    EXPECT_NE(library, nullptr) << GetLastError();
    return library;
}

void* FindFunction(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

bool Unload(void* library) {
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

bool IsKernelLoaded() {
    return GetModuleHandleA("ZelREKernel.dll") != nullptr;
}

Holdings CountHoldings() {
    return {CountThreads(), CountHandles(), CountHeapBytes()};
}

}  // namespace test
