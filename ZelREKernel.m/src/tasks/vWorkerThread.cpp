#include "ZelREKernel/tasks/vWorkerThread.h"

#include <MekHost/system/MekEvent.h>
#include <MekHost/system/MekSignalStack.h>

#include <exception>
#include <memory>
#include <system_error>
#include <utility>

#include "PerThread.h"
#include "ZelREKernel/tasks/vThreadUtils.h"
#include "base/ThreadAtWork.h"
#include "tasks/Patience.h"
#include "tasks/vWorkerPool.h"

namespace ZKL {
namespace {

using vTaskDetail::vPooledTask;
using vTaskDetail::vWorkerPool;

// The worker whose dedicated thread this is.
using CurrentWorker = PerThread<struct WorkerTag, const vWorkerThread*>;

}  // namespace

vWorkerThread::vWorkerThread() : idleEvent_(CreateMekEvent(0)) {}

vWorkerThread::~vWorkerThread() {
    StopThread();
    Join();
    // The pool stays in place meanwhile: its last jobs may post more.
    if (vWorkerPool* const pool = pool_.load(std::memory_order_acquire)) {
        pool->Stop();
        delete pool;
        pool_.store(nullptr, std::memory_order_relaxed);
    }
    queue_.DestroyAll();
    // Nobody can post any more, but whoever did may still be on the way out.
    while (notifiers_.load(std::memory_order_acquire) != 0) {
        std::this_thread::yield();
    }
    delete idleEvent_;
}

void vWorkerThread::SetName(std::string name) {
    name_ = std::move(name);
}

void vWorkerThread::RunSingle() {
    if (thread_.joinable()) {
        std::terminate();
    }
    // Counted from now on: the process may end before the thread has begun.
    thread_ = std::thread([this, atWork = std::make_unique<ThreadAtWork>()] {
        const MekSignalStack stack;
        RunLoop();
    });
    PostJob(vPooledTask::Create([name = name_] { vThreadUtils::SetThreadName(name.c_str()); }));
}

void vWorkerThread::RunPool(unsigned int threadCount) {
    auto pool = std::make_unique<vWorkerPool>(threadCount);
    std::unique_ptr<vWorkerPool> previous(pool_.exchange(pool.release()));
}

bool vWorkerThread::PostJob(JobHandle&& job) {
    if (vWorkerPool* const pool = pool_.load(std::memory_order_acquire)) {
        pool->Post(std::move(job));
        return true;
    }
    if (!AppendFromInside(job)) {
        std::unique_lock lock(queueMutex_);
        queue_.PushBack(std::move(job));
        WakeThread(lock);
    }
    return true;
}

bool vWorkerThread::PostJob(vSmallVector<JobHandle, 1, 0>&& jobs) {
    if (vWorkerPool* const pool = pool_.load(std::memory_order_acquire)) {
        pool->Post(jobs);
    } else {
        JobHandle* job = jobs.begin();
        while (job != jobs.end() && AppendFromInside(*job)) {
            ++job;
        }
        if (job != jobs.end()) {
            std::unique_lock lock(queueMutex_);
            for (; job != jobs.end(); ++job) {
                queue_.PushBack(std::move(*job));
            }
            WakeThread(lock);
        }
    }
    jobs.DropElements();
    return true;
}

void vWorkerThread::StopThread() {
    if (stopRequested_.exchange(true)) {
        return;
    }
    // Under the lock, so that the thread is either asleep, and woken, or sees the flag.
    std::unique_lock lock(queueMutex_);
    WakeThread(lock);
}

void vWorkerThread::Join() {
    if (!thread_.joinable()) {
        return;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    try {
        thread_.join();
    } catch (const std::system_error&) {
        throw std::system_error(std::make_error_code(std::errc::no_such_process));
    }
}

void vWorkerThread::WaitForPendingTasks() {
    const std::lock_guard guard(idleMutex_);
    idleEvent_->Reset();
    PostJob(vPooledTask::Create([event = idleEvent_] { event->Signal(0); }));
    WaitForSingleEvent(idleEvent_, -1);
    idleEvent_->Reset();
}

bool vWorkerThread::IsInThread() const noexcept {
    return CurrentWorker::Get() == this;
}

void vWorkerThread::SetManualRun() noexcept {}

void vWorkerThread::ManualRun() noexcept {}

void vWorkerThread::RunLoop() noexcept {
    CurrentWorker::Set(this);
    vTaskDetail::vPatience patience;
    while (!stopRequested_.load(std::memory_order_acquire)) {
        if (!taken_.IsEmpty() || FetchJobs(patience)) {
            RunFirst();
        }
    }
    DrainAfterStop();
    CurrentWorker::Set(nullptr);
}

// Runs the first of the taken jobs; destroying it may launch nodes on this thread.
void vWorkerThread::RunFirst() {
    const JobHandle job = taken_.PopFront();
    (*job)();
}

// Waits for jobs and takes all there are: they keep their order, and the lock is needed once for
// all of them. False when the thread is asked to stop instead.
bool vWorkerThread::FetchJobs(vTaskDetail::vPatience& patience) {
    patience.SpinUntil(
        [this] { return !queue_.IsEmpty() || stopRequested_.load(std::memory_order_relaxed); });
    std::unique_lock lock(queueMutex_);
    while (queue_.IsEmpty() && !stopRequested_.load(std::memory_order_relaxed)) {
        asleep_ = true;
        patience.Watch([&] { queueSignal_.wait(lock); });
    }
    asleep_ = false;
    taken_.TakeAll(queue_);
    return !taken_.IsEmpty();
}

// Runs what is queued at the stop and what these jobs post to this worker. What other threads post
// meanwhile stays in the queue. They are not kept waiting for the lock: two workers that stop at
// once may post to each other.
void vWorkerThread::DrainAfterStop() {
    {
        const std::lock_guard guard(queueMutex_);
        taken_.TakeAll(queue_);
        draining_ = true;
    }
    while (!taken_.IsEmpty()) {
        RunFirst();
    }
}

// A job posted by the dedicated thread itself goes behind the jobs that it has taken, without the
// lock, unless somebody else's job came before it.
bool vWorkerThread::AppendFromInside(JobHandle& job) noexcept {
    if (!IsInThread() || !(draining_ || queue_.IsEmpty())) {
        return false;
    }
    taken_.PushBack(std::move(job));
    return true;
}

// Unlocks and then wakes the thread if it sleeps. The destructor waits for a waker: by the time of
// the notification the job may be done and its poster's worker no longer needed.
void vWorkerThread::WakeThread(std::unique_lock<std::mutex>& lock) noexcept {
    if (!asleep_) {
        lock.unlock();
        return;
    }
    asleep_ = false;  // one notification is enough
    notifiers_.fetch_add(1, std::memory_order_relaxed);
    lock.unlock();
    queueSignal_.notify_one();
    notifiers_.fetch_sub(1, std::memory_order_release);
}

}  // namespace ZKL
