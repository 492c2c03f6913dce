#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

#include "support/WaitUntil.h"

namespace {

constexpr const char* kUser = ZEL_TEST_BIN_DIR "/tasks-reload-user.so";
constexpr const char* kKernel = ZEL_TEST_BIN_DIR "/libZelREKernel.so";

int LoadAndUse(void*& library) {
    library = dlopen(kUser, RTLD_NOW);
    if (!library) {
        ADD_FAILURE() << dlerror();
        return 0;
    }
    using Use = int (*)();
    return reinterpret_cast<Use>(dlsym(library, "UseThreads"))();
}

std::ptrdiff_t CountThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

bool IsKernelLoaded() {
    void* const library = dlopen(kKernel, RTLD_NOW | RTLD_NOLOAD);
    return library && dlclose(library) == 0;
}

TEST(ThreadsReload, NoThreadStaysWhenTheLibraryGoes) {
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 1000; ++round) {
        void* library = nullptr;
        ASSERT_EQ(LoadAndUse(library), 10);
        ASSERT_TRUE(IsKernelLoaded());
        ASSERT_EQ(dlclose(library), 0);
        ASSERT_FALSE(IsKernelLoaded());
        // The first round may leave a thread of a sanitizer's.
        before = round == 0 ? CountThreads() : before;
        ASSERT_EQ(CountThreads(), before) << round;
    }
}

// Its end comes after the library's: nothing of the library may be called then.
TEST(ThreadsReload, AThreadThatUsedTheLibraryMayOutliveIt) {
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
