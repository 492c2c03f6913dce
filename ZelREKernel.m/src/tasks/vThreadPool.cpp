#include "ZelREKernel/tasks/vThreadPool.h"

#include <MekHost/MekStatus.h>
#include <MekHost/assertion/MekCheck.h>
#include <MekHost/system/MekEvent.h>
#include <MekHost/system/MekThreads.h>
#include <MekHost/system/RudSysJob.h>
#include <MekHost/system/RudSysSemaphore.h>

#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/tasks/vThreadUtils.h"
#include "base/ThreadAtWork.h"

namespace ZKL {
namespace {

// One permit per queued job, and the semaphore holds no more.
constexpr int kMaximumJobs = std::numeric_limits<int>::max();

}  // namespace

TP::vTask::vTask(RudSysJob* job) : vRefPtrObject(true), job_(job) {}

TP::vTask::~vTask() {
    if (job_ && !hasRun_.load(std::memory_order_relaxed)) {
        job_->ReleaseReferenceJob();
    }
}

void TP::vTask::Run() {
    if (!job_) {
        return;
    }
    // Relaxed: the last reference to the task orders it before the destructor's look.
    hasRun_.store(true, std::memory_order_relaxed);
    job_->CallExecute();
    if (MekEvent* const waiting = job_->GetWaitingEvent()) {
        waiting->Signal(0);
    }
    job_->ReleaseReferenceJob();
}

class vThreadPool::Thread final : public MekThreads {
public:
    Thread(vThreadPool& pool, unsigned int index)
        : MekThreads(nullptr, nullptr, -1, 0, 0), pool_(pool), index_(index) {}
    ~Thread() override { Join(); }

private:
    std::int32_t Run() override {
        vThreadUtils::SetThreadName("Thread Pool");
        pool_._DummyFct(index_);
        return 0;
    }

    vThreadPool& pool_;
    unsigned int index_;
    ThreadAtWork atWork_;
};

vThreadPool::vThreadPool(unsigned int threadCount) : threadCount_(threadCount) {
    try {
        _Init();
    } catch (...) {
        _End();
        throw;
    }
}

vThreadPool::~vThreadPool() {
    _End();
}

void vThreadPool::_Init() {
    wakeSemaphore_.reset(RudSysSemaphore::RudSysCreateSemaphore(kMaximumJobs, 0, 0));
    if (!wakeSemaphore_) {
        throw std::bad_alloc();
    }
    threads_ = std::make_unique<std::unique_ptr<Thread>[]>(threadCount_);
    exitEvents_ = std::make_unique<MekEvent*[]>(threadCount_);
    for (unsigned int i = 0; i < threadCount_; ++i) {
        exitEvents_[i] = CreateMekEvent(0);
        threads_[i] = std::make_unique<Thread>(*this, i);
        if (threads_[i]->Start(0) != kMekOk) {
            LogDefault(vLogger::eError, "vThreadPool : thread %u cannot be started", i);
            exitEvents_[i]->Signal(0);  // nobody else would, and Stop waits for it
        }
    }
}

void vThreadPool::AddTask(vRefPtr<TP::vTask> task) {
    if (!task) {
        Check_Pointer_Failed__("task", __FILE__, __LINE__);
        return;
    }
    std::unique_lock lock(queueMutex_);
    Queue place;
    if (free_.empty()) {
        // Nobody waits for the heap.
        lock.unlock();
        place.emplace_back();
        lock.lock();
    } else {
        place.splice(place.begin(), free_, free_.begin());
    }
    if (queue_.size() >= static_cast<std::size_t>(kMaximumJobs)) {
        throw std::length_error("list too long");
    }
    place.front() = std::move(task);
    queue_.splice(queue_.end(), place);
    lock.unlock();
    wakeSemaphore_->Post();
}

void vThreadPool::Stop() {
    stopRequested_ = true;
    for (unsigned int i = 0; i < threadCount_; ++i) {
        wakeSemaphore_->Post();
    }
    WaitForMultipleEvents(threadCount_, exitEvents_.get(), 1, -1);
}

void vThreadPool::_DummyFct(unsigned int index) {
    Queue place;
    while (!stopRequested_) {
        wakeSemaphore_->Wait();
        _RunNext(place);
    }
    exitEvents_[index]->Signal(0);
}

// Runs the first task of the queue, if there is one, whose place is then in `place`: what is there
// goes back first. A reference whose drop throws ends the process here.
void vThreadPool::_RunNext(Queue& place) noexcept {
    {
        const std::lock_guard guard(queueMutex_);
        free_.splice(free_.begin(), place);
        if (queue_.empty()) {
            return;
        }
        place.splice(place.begin(), queue_, queue_.begin());
    }
    place.front()->Run();
    place.front().Reset();
}

// Also ends a pool of which only a part was made.
void vThreadPool::_End() noexcept {
    stopRequested_ = true;
    for (unsigned int i = 0; threads_ && i < threadCount_; ++i) {
        wakeSemaphore_->Post();
    }
    threads_.reset();
    for (unsigned int i = 0; exitEvents_ && i < threadCount_; ++i) {
        delete exitEvents_[i];
    }
}

}  // namespace ZKL
