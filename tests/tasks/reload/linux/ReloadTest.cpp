#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

constexpr const char* kUser = ZEL_TEST_BIN_DIR "/tasks-reload-user.so";
constexpr const char* kKernel = ZEL_TEST_BIN_DIR "/libZelREKernel.so";

template <typename Function>
Function* Find(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

int LoadAndUse(void*& library) {
    library = dlopen(kUser, RTLD_NOW);
    if (!library) {
        ADD_FAILURE() << dlerror();
        return 0;
    }
    return Find<int()>(library, "UseThreads")();
}

std::ptrdiff_t CountEntries(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

bool IsKernelLoaded() {
    void* const library = dlopen(kKernel, RTLD_NOW | RTLD_NOLOAD);
    return library && dlclose(library) == 0;
}

TEST(Reload, NothingStaysWhenTheLibraryGoes) {
    constexpr int kRounds = 1000;
    const test::TempDir directory;
    const std::string file = directory.File("log");
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t descriptors = 0;
    std::size_t heap = 0;
    for (int round = 0; round < kRounds; ++round) {
        void* library = nullptr;
        ASSERT_EQ(LoadAndUse(library), 10);
        ASSERT_TRUE(Find<bool(const char*, int, bool)>(library, "UseLog")(file.c_str(), round,
                                                                          round % 2 == 0));
        ASSERT_TRUE(IsKernelLoaded());
        ASSERT_EQ(dlclose(library), 0);
        ASSERT_FALSE(IsKernelLoaded());
        ASSERT_EQ(test::ReadText(file), "[INFO]\t : round " + std::to_string(round) + "\n");
        if (round == 20) {  // what is made once in a process is there by now
            threads = CountEntries("/proc/self/task");
            descriptors = CountEntries("/proc/self/fd");
            heap = mallinfo2().uordblks;
        }
    }
    EXPECT_LE(CountEntries("/proc/self/task"), threads);
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
    // Less than the smallest block a round: nothing is kept for each. The rest is oneTBB's, which
    // stays loaded and comes to rest at some 10 KB. A sanitizer's own heap always says 0.
    EXPECT_LE(mallinfo2().uordblks, heap + 16 * kRounds);
}

// Its end comes after the library's: nothing of the library may be called then.
TEST(Reload, AThreadThatUsedTheLibraryMayOutliveIt) {
    for (int round = 0; round < 20; ++round) {
        void* library = nullptr;
        std::atomic<bool> used = false;
        std::atomic<bool> unloaded = false;
        std::thread thread([&] {
            EXPECT_EQ(LoadAndUse(library), 10);
            used = true;
            EXPECT_TRUE(test::WaitUntil([&] { return unloaded.load(); }));
        });
        EXPECT_TRUE(test::WaitUntil([&] { return used.load(); }));
        EXPECT_EQ(dlclose(library), 0);
        EXPECT_FALSE(IsKernelLoaded());
        unloaded = true;
        thread.join();
    }
}

}  // namespace
