#pragma once

// A fixed set of threads that run jobs from one queue, first in first out.
//
// AddTask may be called from any thread, also from a running job. Stop and the destructor are for
// the owner, on a thread that is none of the pool's. Jobs run beside each other, outside any lock.

#include <MekHost/system/MekMutex.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/core/vRefPtrObject.h"

class MekEvent;
class RudSysJob;
class RudSysSemaphore;

namespace ZKL {

namespace TP {

// A job on its way through a pool. It owns one reference on the job, which its first run gives
// back, or its end if it never ran.
class ZELREKERNEL_EXPORT vTask : public vRefPtrObject {
public:
    // Takes over one reference on `job`, commonly the creator's own. A null job makes a task that
    // does nothing.
    explicit vTask(RudSysJob* job);
    ~vTask() override;

    // Borrowed; the job may be gone once it has run.
    RudSysJob* GetJob() const noexcept { return job_; }
    // Executes the job, signals its waiting event if it has one, and releases a reference on it. To
    // queue a task once more add a reference to the job first.
    void Run();

private:
    RudSysJob* const job_;
    std::atomic<bool> hasRun_ = false;
};

}  // namespace TP

class ZELREKERNEL_EXPORT vThreadPool {
public:
    // Starts `threadCount` threads. A thread that the system does not grant is logged and missing;
    // with none of them running, jobs stay queued. Throws std::bad_alloc or std::system_error when
    // the system has no resources for the pool itself.
    explicit vThreadPool(unsigned int threadCount);
    // Ends the threads as Stop does, if that was not called, and releases the jobs still queued
    // without running them.
    ~vThreadPool();
    vThreadPool(const vThreadPool&) = delete;
    vThreadPool& operator=(const vThreadPool&) = delete;

    // Queues `task`; the pool holds its own reference until the task has run. After Stop a task
    // stays queued until the destructor releases it. A null task goes to the assertion sink. Throws
    // std::bad_alloc, or std::length_error when 2^31 - 1 tasks are queued already. Places in the
    // queue are kept for later tasks until the pool ends.
    void AddTask(vRefPtr<TP::vTask> task);

    // Lets every thread leave after the job it is at, or one more, and waits until all have left.
    void Stop();

private:
    class Thread;
    using Queue = std::list<vRefPtr<TP::vTask>>;

    void _Init();
    void _DummyFct(unsigned int index);
    void _RunNext(Queue& place) noexcept;
    void _End() noexcept;

    std::uint32_t threadCount_;
    std::unique_ptr<std::unique_ptr<Thread>[]> threads_;
    std::unique_ptr<RudSysSemaphore> wakeSemaphore_;
    std::unique_ptr<MekEvent*[]> exitEvents_;
    MekMutex queueMutex_;
    Queue queue_;
    std::atomic<bool> stopRequested_ = false;
    Queue free_;  // empty places for the queue; under the lock
};

}  // namespace ZKL
