#pragma once

// Runs pooled jobs, each once: on one thread, first in first out (RunSingle), or on a few threads
// of its own that share a stack, where the youngest job runs first (RunPool). A job is destroyed as
// soon as it has run, which tells the task node that waits for it. A job that throws ends the
// process.
//
// PostJob may be called from any thread, a job of this worker included; the other operations from
// the thread that owns the worker, StopThread, IsInThread and WaitForPendingTasks from any.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/base/vSmallVector.h"
#include "ZelREKernel/tasks/vJobQueue.h"
#include "ZelREKernel/tasks/vPooledTask.h"

class MekEvent;

namespace ZKL {

namespace vTaskDetail {
class vPatience;
class vWorkerPool;
}  // namespace vTaskDetail

class ZELREKERNEL_EXPORT vWorkerThread {
public:
    using JobHandle = vTaskDetail::vJobHandle;  // owns a job

    // Idle: jobs wait until RunSingle or RunPool. Throws what CreateMekEvent throws.
    vWorkerThread();
    vWorkerThread(const vWorkerThread&) = delete;
    vWorkerThread& operator=(const vWorkerThread&) = delete;
    // Stops and joins the threads, which run what is queued first; jobs that no thread serves are
    // destroyed unrun.
    ~vWorkerThread();

    // The name of the thread that RunSingle starts; "Zelo:Worker" without this call.
    void SetName(std::string name);

    // Starts the dedicated thread. Throws std::system_error (resource_unavailable_try_again) when
    // there is no thread to be had. A second call while the thread exists ends the process.
    void RunSingle();
    // Starts `threadCount` threads that from now on get every job. A previous pool runs its jobs to
    // the end and is freed; meanwhile nobody but its jobs may post. Throws as RunSingle and
    // CreateMekEvent do.
    void RunPool(unsigned int threadCount);

    // Takes the job, or the jobs in their order, over; returns true. The batch keeps its array.
    bool PostJob(JobHandle&& job);
    bool PostJob(vSmallVector<JobHandle, 1, 0>&& jobs);

    // Asks the dedicated thread to run what is queued by then, with what these jobs post, and to
    // end. Later jobs stay queued.
    void StopThread();
    // Waits for the dedicated thread to end; without one returns at once. Throws std::system_error:
    // resource_deadlock_would_occur on that thread itself, no_such_process when joining fails.
    void Join();

    // With one thread: waits until every job posted before has run. With a pool: until a job posted
    // now has run. Must not be called by a job of this worker.
    void WaitForPendingTasks();
    // Whether this is the dedicated thread; false on the threads of a pool.
    bool IsInThread() const noexcept;

    // Kept for callers that switch to running jobs by hand; they do nothing:
    void SetManualRun() noexcept;
    void ManualRun() noexcept;

private:
    void RunLoop() noexcept;
    void RunFirst();
    bool FetchJobs(vTaskDetail::vPatience& patience);
    void DrainAfterStop();
    bool AppendFromInside(JobHandle& job) noexcept;
    void WakeThread(std::unique_lock<std::mutex>& lock) noexcept;

    std::mutex queueMutex_;
    std::condition_variable queueSignal_;
    vTaskDetail::vJobQueue queue_;
    std::atomic<bool> stopRequested_ = false;
    std::thread thread_;
    std::atomic<vTaskDetail::vWorkerPool*> pool_ = nullptr;  // owned
    MekEvent* idleEvent_;
    std::string name_ = "Zelo:Worker";

    bool asleep_ = false;                  // the thread waits on queueSignal_; under queueMutex_
    std::atomic<unsigned> notifiers_ = 0;  // threads on their way to wake it
    std::mutex idleMutex_;                 // one thread at a time waits for idleEvent_
    // The thread's own: the jobs that it has taken from the queue, and whether it has seen the
    // stop.
    alignas(64) vTaskDetail::vJobQueue taken_;
    bool draining_ = false;
};

}  // namespace ZKL
