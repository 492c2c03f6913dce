#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "support/TempDir.h"
#include "support/WaitUntil.h"
#include "tasks/reload/Loading.h"

namespace {

template <typename Function>
Function* Find(void* library, const char* name) {
    return reinterpret_cast<Function*>(test::FindFunction(library, name));
}

int LoadAndUse(void*& library) {
    library = test::LoadUser();
    return library ? Find<int()>(library, "UseThreads")() : 0;
}

TEST(Reload, NothingStaysWhenTheLibraryGoes) {
    const test::TempDir directory;
    const std::string file = directory.File("log");
    test::Holdings before;
    for (int round = 0; round < test::kRounds; ++round) {
        void* library = nullptr;
        ASSERT_EQ(LoadAndUse(library), 10);
        ASSERT_TRUE(Find<bool(const char*, int, bool)>(library, "UseLog")(file.c_str(), round,
                                                                          round % 2 == 0));
        ASSERT_TRUE(test::IsKernelLoaded());
        ASSERT_TRUE(test::Unload(library));
        ASSERT_FALSE(test::IsKernelLoaded());
        ASSERT_EQ(test::ReadText(file), "[INFO]\t : round " + std::to_string(round) + "\n");
        if (round == 20) {  // what is made once in a process is there by now
            before = test::CountHoldings();
        }
    }
    // A thread that was told to end is given the time to.
    EXPECT_TRUE(test::WaitUntil([&] { return test::CountHoldings().threads <= before.threads; }));
    const test::Holdings after = test::CountHoldings();
    EXPECT_LE(after.handles, before.handles);
    EXPECT_LE(after.heapBytes,
              before.heapBytes + test::kKeptPerRound * static_cast<std::size_t>(test::kRounds));
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
        EXPECT_TRUE(test::Unload(library));
        EXPECT_FALSE(test::IsKernelLoaded());
        unloaded = true;
        thread.join();
    }
}

void (*s_log)() = nullptr;

// As a thread of the host does that nobody stopped.
TEST(Reload, WhoLogsWhileTheProcessEndsDoesNoHarm) {
    const auto end = [] {
        // On Linux after the library's static objects, which come later.
        std::atexit([] { s_log(); });
        void* library = nullptr;
        LoadAndUse(library);
        s_log = Find<void()>(library, "LogLine");
        Find<bool(const char*, int, bool)>(library, "UseLog")("stderr", 1, true);
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "round 1\n");
}

}  // namespace
