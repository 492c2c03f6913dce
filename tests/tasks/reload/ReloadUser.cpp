// Stands for a part of an engine that is loaded, uses the kernel's threads and its log and is
// unloaded.

#include <MekHost/system/MekEvent.h>
#include <MekHost/system/RudSysJob.h>

#include <atomic>
#include <memory>

#include "ZelREKernel/core/vKernelModule.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "ZelREKernel/tasks/vTaskManager.h"
#include "ZelREKernel/tasks/vThreadPool.h"

namespace {

class EmptyJob final : public RudSysJob {
    std::int32_t Execute() override { return 0; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int UseThreads() {
    std::atomic<int> done = 0;
    vTaskManager::CreateInstance();
    vTaskManager& manager = *vTaskManager::GetInstance();
    for (int i = 0; i < 10; ++i) {
        manager.Run(eAsyncTask0, [&] { ++done; });
    }
    manager.WaitTask(eAsyncTask0, 0);
    manager.Run(eAsyncTask1, [] {});  // left to the unloading

    const std::unique_ptr<MekEvent> ran(CreateMekEvent(0));
    ZKL::vThreadPool pool(2);
    auto* const job = new EmptyJob;
    job->SetWaitingEvent(ran.get());
    pool.AddTask(ZKL::vRefPtr<ZKL::TP::vTask>(new ZKL::TP::vTask(job)));
    WaitForSingleEvent(ran.get(), -1);
    pool.Stop();
    return done;
}

extern "C" __attribute__((visibility("default"))) void LogLine() {
    ZKL::LogRufx(ZKL::vLogger::eInfo, "a line");
}

// Logs a line to `file` through the flusher, which is left to the unloading unless it is to stop.
// Returns whether the kernel came up and down.
extern "C" __attribute__((visibility("default"))) bool UseLog(const char* file, int round,
                                                              bool stopsFlusher) {
    ZKL::vLoggerLifeCycle flusher;
    const bool up = ZKL::vKernelModule::Initialize({}) == 0 && flusher.Initialize();
    ZKL::vLoggerManager::GetInstance().GetLogger(ZKL::vLoggerManager::eRufx).SetOutput(file);
    ZKL::LogRufx(ZKL::vLogger::eInfo, "round %d", round);
    return up && (!stopsFlusher || flusher.Terminate()) && ZKL::vKernelModule::Terminate() == 0;
}
