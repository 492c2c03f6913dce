#pragma once

// The threads of vWorkerThread::RunPool. A job goes to a sleeping thread directly, else on a stack
// that all threads take from, youngest first.
//
// What a thread of the pool posts itself stays with it, without the lock, where nobody can tell: a
// single thread keeps all of it, and one of several holds what the end of its last job launches
// until it takes the youngest of it. Whatever might wait for a held job has to be run by
// vPublishPosts.
//
// Post may be called from any thread, a job of this pool included.

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "PerThread.h"
#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/base/vSmallVector.h"
#include "ZelREKernel/tasks/vJobQueue.h"
#include "ZelREKernel/tasks/vPooledTask.h"

class MekEvent;

namespace ZKL::vTaskDetail {

class vWorkerPool {
public:
    enum ESlotState : std::uint32_t {
        SlotAsleep = 0,   // waits on its wake event
        SlotIdle = 1,     // found no work and is about to sleep
        SlotClaimed = 2,  // handed a job, or forbidden the next sleep
        SlotStopping = 3  // the pool is being destroyed
    };

    // Throws std::bad_alloc or std::system_error when there is no memory or no thread.
    explicit vWorkerPool(unsigned threadCount);
    vWorkerPool(const vWorkerPool&) = delete;
    vWorkerPool& operator=(const vWorkerPool&) = delete;
    // Stops, then destroys the jobs that no thread has run.
    ~vWorkerPool();

    void Post(vJobHandle&& job);
    // Takes every job of `jobs` and leaves empty handles.
    void Post(vSmallVector<vJobHandle, 1, 0>& jobs);
    // Lets the threads run what is there, with what that posts, and joins them.
    void Stop();

    // How many threads sleep at this moment.
    unsigned CountAsleep() const noexcept;

private:
    friend class vPublishPosts;

    struct alignas(64) Slot {
        std::atomic<std::uint32_t> state = SlotIdle;
        std::unique_ptr<MekEvent> wake;
        vJobHandle handedOver;
        std::thread thread;

        // The thread's own.
        alignas(64) vWorkerPool* pool = nullptr;
        bool holdsPosts = false;
        std::uint32_t heldCount = 0;
        vJobQueue held;  // its front is the youngest

        bool Claim() noexcept;
        void HandOver(vJobHandle&& job) noexcept;
    };

    // The slot of the calling thread, if it is a thread of any pool.
    using OwnSlot = PerThread<struct SlotTag, Slot*>;

    bool Hold(vJobHandle&& job) noexcept;
    void Publish(Slot& slot) noexcept;
    void RunLoop(Slot& slot) noexcept;
    void RunJob(Slot& slot);
    bool TakeJob(Slot& slot);
    bool TakeShared(Slot& slot);
    void WakeOne() noexcept;

    bool IsAlone() const noexcept { return slotCount_ == 1; }

    vSlimLock lock_;
    vJobQueue stack_;  // its front is the top; under lock_
    std::unique_ptr<Slot[]> slots_;
    std::uint32_t slotCount_ = 0;
    std::atomic<bool> stop_ = false;
};

// While it lives, what this thread posts is for all threads at once, as is what it held before.
class vPublishPosts {
public:
    vPublishPosts() noexcept;
    ~vPublishPosts();
    vPublishPosts(const vPublishPosts&) = delete;
    vPublishPosts& operator=(const vPublishPosts&) = delete;

private:
    vWorkerPool::Slot* const slot_;  // null when there is nothing to restore
};

}  // namespace ZKL::vTaskDetail
