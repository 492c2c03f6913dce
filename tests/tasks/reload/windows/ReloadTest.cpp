#include <gtest/gtest.h>
#include <malloc.h>
#include <windows.h>
// After the system's own types.
#include <tlhelp32.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

constexpr const char* kUser = ZEL_TEST_BIN_DIR "/tasks-reload-user.dll";

template <typename Function>
Function* Find(HMODULE library, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

int LoadAndUse(HMODULE& library) {
    library = LoadLibraryA(kUser);
    if (!library) {
        ADD_FAILURE() << GetLastError();
        return 0;
    }
    return Find<int()>(library, "UseThreads")();
}

bool IsKernelLoaded() {
    return GetModuleHandleA("ZelREKernel.dll") != nullptr;
}

int CountThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

int CountHandles() {
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : 0;
}

// In all heaps: the run-time library's malloc has one of its own.
std::size_t HeapBytes() {
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

TEST(Reload, NothingStaysWhenTheLibraryGoes) {
    constexpr int kRounds = 100;
    const test::TempDir directory;
    const std::string file = directory.File("log");
    int threads = 0;
    int handles = 0;
    std::size_t heap = 0;
    for (int round = 0; round < kRounds; ++round) {
        HMODULE library = nullptr;
        ASSERT_EQ(LoadAndUse(library), 10);
        ASSERT_TRUE(Find<bool(const char*, int, bool)>(library, "UseLog")(file.c_str(), round,
                                                                          round % 2 == 0));
        ASSERT_TRUE(IsKernelLoaded());
        ASSERT_TRUE(FreeLibrary(library));
        ASSERT_FALSE(IsKernelLoaded());
        ASSERT_EQ(test::ReadText(file), "[INFO]\t : round " + std::to_string(round) + "\n");
        if (round == 20) {  // what is made once in a process is there by now
            threads = CountThreads();
            handles = CountHandles();
            heap = HeapBytes();
        }
    }
    // A thread that was told to end is given the time to.
    EXPECT_TRUE(test::WaitUntil([&] { return CountThreads() <= threads; }));
    EXPECT_LE(CountHandles(), handles);
    // The loader keeps 48 bytes in every third round, whatever library it is.
    EXPECT_LE(HeapBytes(), heap + 64 * kRounds);
}

// Its end comes after the library's: nothing of the library may be called then.
TEST(Reload, AThreadThatUsedTheLibraryMayOutliveIt) {
    for (int round = 0; round < 20; ++round) {
        HMODULE library = nullptr;
        std::atomic<bool> used = false;
        std::atomic<bool> unloaded = false;
        std::thread thread([&] {
            EXPECT_EQ(LoadAndUse(library), 10);
            used = true;
            EXPECT_TRUE(test::WaitUntil([&] { return unloaded.load(); }));
        });
        EXPECT_TRUE(test::WaitUntil([&] { return used.load(); }));
        EXPECT_TRUE(FreeLibrary(library));
        EXPECT_FALSE(IsKernelLoaded());
        unloaded = true;
        thread.join();
    }
}

}  // namespace
