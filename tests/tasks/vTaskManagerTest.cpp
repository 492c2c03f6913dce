#include "ZelREKernel/tasks/vTaskManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vCPUInfos.h"
#include "ZelREKernel/profiling/vProfilerManager.h"
#include "ZelREKernel/tasks/vThreadPoolManager.h"
#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

constexpr unsigned int kNoFlow = 0xFFFFFFFF;

constexpr EAsyncTaskID kSlots[] = {eAsyncTask0, eAsyncTask1, eAsyncTask2,
                                   eAsyncTask3, eAsyncTask4, eAsyncTask5};

class vTaskManagerTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(vTaskManager::CreateInstance()); }
    void TearDown() override {
        ASSERT_TRUE(vTaskManager::DestroyInstance());
        ASSERT_EQ(vTaskManager::GetInstance(), nullptr);
    }
    static vTaskManager& Manager() { return *vTaskManager::GetInstance(); }
};

TEST_F(vTaskManagerTest, WaitTaskJoinsItsSlotAndSlotsAreUsedAgain) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> done[6] = {};
        for (const EAsyncTaskID id : kSlots) {
            Manager().WaitTask(id, kNoFlow);  // empty
            for (int i = 0; i < 50; ++i) {
                EXPECT_TRUE(Manager().Run(id, [&done, id] { ++done[id]; }));
            }
        }
        for (const EAsyncTaskID id : kSlots) {
            Manager().WaitTask(id, 7);
            EXPECT_EQ(done[id], 50) << id;
        }
        ZKL::vThreadPoolManager::DestroyThreadPool();
    }
}

TEST_F(vTaskManagerTest, WorkFillsAndJoinsSlotsOfItsOwn) {
    // As deep as there are slots: every level holds a thread while the next one needs one.
    std::atomic<int> done = 0;
    struct Level {
        std::atomic<int>* done;
        int id;
        void operator()() const {
            if (id < 6) {
                for (int i = 0; i < 10; ++i) {
                    Manager().Run(kSlots[id], [counter = done] { ++*counter; });
                }
                Manager().Run(kSlots[id], Level{done, id + 1});
                Manager().WaitTask(kSlots[id], kNoFlow);
            }
        }
    };
    Manager().Run(eAsyncTask0, Level{&done, 1});
    Manager().Run(eAsyncTask0, [&] {  // into the slot it runs in, while that is waited for
        Manager().Run(eAsyncTask0, [&] { ++done; });
    });
    Manager().WaitTask(eAsyncTask0, kNoFlow);
    EXPECT_EQ(done, 51);
}

TEST_F(vTaskManagerTest, AnExceptionReachesTheWaiterAndTheSlotIsEmptied) {
    const auto owned = std::make_shared<int>(0);
    Manager().Run(eAsyncTask2, [owned] { throw std::runtime_error("of the work"); });
    try {
        Manager().WaitTask(eAsyncTask2, kNoFlow);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "of the work");
    }
    EXPECT_EQ(owned.use_count(), 1);
    bool ran = false;
    Manager().Run(eAsyncTask2, [&] { ran = true; });
    Manager().WaitTask(eAsyncTask2, kNoFlow);
    EXPECT_TRUE(ran);
}

TEST_F(vTaskManagerTest, DestroyInstanceWaitsForWhatIsInTheSlots) {
    std::atomic<int> done = 0;
    for (const EAsyncTaskID id : kSlots) {
        Manager().Run(id, [&] { ++done; });
    }
    Manager().Run(eAsyncTask5, [] { throw std::runtime_error("nobody waits"); });
    Manager().Run(eAsyncTask4, [] { throw 4; });
    test::CaptureStream output(1);
    EXPECT_TRUE(vTaskManager::DestroyInstance());
    EXPECT_GE(done, 4);  // the two that threw may have kept others of their slot from running
    EXPECT_EQ(output.Text(),
              "[ERROR]\t : vTaskManager : work failed\n"
              "[ERROR]\t : vTaskManager : work failed : nobody waits\n");
}

TEST_F(vTaskManagerTest, WorkThatDestroyInstanceWaitsForFindsTheInstance) {
    std::atomic<bool> isDestroying = false;
    std::atomic<int> done = 0;
    Manager().Run(eAsyncTask3, [&] {
        while (!isDestroying) {
            std::this_thread::yield();
        }
        Manager().Run(eAsyncTask0, [&] { ++done; });  // in a slot that was empty
        ++done;
    });
    isDestroying = true;
    EXPECT_TRUE(vTaskManager::DestroyInstance());
    EXPECT_EQ(done, 2);
}

TEST_F(vTaskManagerTest, TheWaitShowsInTheTrace) {
    const test::TempDir directory;
    ZKL::vProfilerManager& profiler = ZKL::vProfilerManager::CreateInstance();
    profiler.SetTraceDirectory(directory.Path().string().c_str());
    profiler.TurnOn();
    Manager().WaitTask(eAsyncTask1, 4711);
    profiler.TurnOff();
    ASSERT_TRUE(profiler.FlushProfiler());
    ZKL::vProfilerManager::DestroyInstance();
    const std::string trace = test::ReadText(directory.File("profiling.js"));
    EXPECT_NE(trace.find(R"("ph":"B","name":"WaitTask")"), trace.npos) << trace;
    EXPECT_NE(trace.find(R"("args":{"flowName":"4711"})"), trace.npos) << trace;
}

TEST_F(vTaskManagerTest, AnIdThatIsNoSlotIsAMisuse) {
    for (const unsigned int bad : {6u, 7u, 0xFFFFFFFFu}) {
        test::ScopedCheckHandler checks;
        bool ran = false;
        EXPECT_FALSE(Manager().Run(static_cast<EAsyncTaskID>(bad), [&] { ran = true; }));
        Manager().WaitTask(static_cast<EAsyncTaskID>(bad), kNoFlow);
        EXPECT_FALSE(ran);
        EXPECT_EQ(checks.Checks().size(), 2u) << bad;
    }
}

}  // namespace
