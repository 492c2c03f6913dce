#include "Services.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "ZelREKernel/core/vCPUInfos.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "ZelREKernel/profiling/vProfilerManager.h"
#include "ZelREKernel/tasks/vSynchroNode.h"
#include "ZelREKernel/tasks/vTaskManager.h"
#include "ZelREKernel/tasks/vThreadPoolManager.h"
#include "ZelREKernel/tasks/vThreadUtils.h"
#include "ZelREKernel/tasks/vWorkerThread.h"

namespace frame {

bool LogService::Initialize() {
    const std::string graph = options_.out + "/graph.log";
    const std::string stages = options_.out + "/stages.log";
    const std::string target = options_.log.empty() ? options_.out + "/frame.log" : options_.log;
    ZKL::vLoggerManager& manager = ZKL::vLoggerManager::GetInstance();
    manager.GetLogger(ZKL::vLoggerManager::eDefault).SetOutput(target.c_str());
    manager.GetLogger(ZKL::vLoggerManager::eProfiling).SetOutput(stages.c_str());
    manager.GetLogger(ZKL::vLoggerManager::eProfiling).BeginLog();
    manager.GetLogger(ZKL::vLoggerManager::ePipelining).SetOutput(graph.c_str());
    manager.GetLogger(ZKL::vLoggerManager::ePipelining).BeginLog();
    return true;
}

bool LogService::Terminate() {
    ZKL::LogProfilingFlush();
    ZKL::vLoggerManager& manager = ZKL::vLoggerManager::GetInstance();
    manager.GetLogger(ZKL::vLoggerManager::eProfiling).EndLog();
    manager.GetLogger(ZKL::vLoggerManager::ePipelining).EndLog();
    // Lets go of the files or the listener: a viewer learns that the stream has ended.
    for (const auto channel : {ZKL::vLoggerManager::eDefault, ZKL::vLoggerManager::eProfiling,
                               ZKL::vLoggerManager::ePipelining}) {
        manager.GetLogger(channel).SetOutput("stdout");
    }
    return true;
}

bool ProfilerService::Initialize() {
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
    manager.SetProcessName("frame");
    manager.SetTraceDirectory(options_.out.c_str());
    vThreadUtils::SetThreadName("Main Thread");
    manager.TurnOn();
    return true;
}

bool ProfilerService::Terminate() {
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::GetInstance();
    manager.TurnOff();
    const bool written = manager.FlushProfiler();
    if (!written) {
        ZKL::LogDefault(ZKL::vLogger::eError, "Cannot write the trace to %s", options_.out.c_str());
    }
    ZKL::vProfilerManager::DestroyInstance();
    return written;
}

bool TaskService::Initialize() {
    // Long enough for any frame, short enough that a hang is noticed.
    ZKL::SetDefaultTaskTimeout(60 * 1000);
    return vTaskManager::CreateInstance();
}

bool TaskService::Terminate() {
    ZKL::SetDefaultTaskTimeout(-1);
    const bool destroyed = vTaskManager::DestroyInstance();
    ZKL::vThreadPoolManager::DestroyThreadPool();
    return destroyed;
}

bool WorkerService::Initialize() {
    if (workers_ == 0) {
        workers_ = std::max(ZKL::GetCPUInfos().cores, 1u);
    }
    auto pool = std::make_unique<ZKL::vWorkerThread>();
    auto presenter = std::make_unique<ZKL::vWorkerThread>();
    pool->RunPool(workers_);
    presenter->SetName("Presenter");
    presenter->RunSingle();
    pool_ = pool.release();
    presenter_ = presenter.release();
    return true;
}

bool WorkerService::Terminate() {
    presenter_->StopThread();
    presenter_->Join();
    delete std::exchange(presenter_, nullptr);
    delete std::exchange(pool_, nullptr);
    return true;
}

}  // namespace frame
