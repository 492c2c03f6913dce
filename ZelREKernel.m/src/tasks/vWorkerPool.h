#pragma once

// The threads of vWorkerThread::RunPool. A job goes to a sleeping thread directly, else on a stack
// that all threads take from, youngest first.
//
// Post may be called from any thread, a job of this pool included.

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

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
    struct alignas(64) Slot {
        std::atomic<std::uint32_t> state = SlotIdle;
        std::unique_ptr<MekEvent> wake;
        vJobHandle handedOver;
        std::thread thread;

        bool Claim() noexcept;
        void HandOver(vJobHandle&& job) noexcept;
    };

    void RunLoop(Slot& slot) noexcept;
    bool RunStack(Slot& slot);
    void WakeOne() noexcept;

    vSlimLock lock_;
    vJobQueue stack_;  // its front is the top; under lock_
    std::unique_ptr<Slot[]> slots_;
    std::uint32_t slotCount_ = 0;
    std::atomic<bool> stop_ = false;
};

}  // namespace ZKL::vTaskDetail
