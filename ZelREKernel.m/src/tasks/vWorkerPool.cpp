#include "tasks/vWorkerPool.h"

#include <MekHost/system/MekEvent.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "tasks/SpinBriefly.h"

namespace ZKL::vTaskDetail {

vWorkerPool::vWorkerPool(unsigned threadCount)
    : slots_(std::make_unique<Slot[]>(threadCount)), slotCount_(threadCount) {
    for (unsigned i = 0; i < threadCount; ++i) {
        slots_[i].wake.reset(CreateMekEvent(0));
    }
    try {
        for (unsigned i = 0; i < threadCount; ++i) {
            slots_[i].thread = std::thread([this, i] { RunLoop(slots_[i]); });
        }
    } catch (...) {
        Stop();
        throw;
    }
}

vWorkerPool::~vWorkerPool() {
    Stop();
    // A destroyed job may complete its node, whose dependents then post here.
    for (bool more = true; more;) {
        vJobHandle job;
        const std::lock_guard guard(lock_);
        job = stack_.PopFront();
        more = job != nullptr;
    }
}

void vWorkerPool::Post(vJobHandle&& job) {
    for (Slot* slot = slots_.get(); slot != slots_.get() + slotCount_; ++slot) {
        if (slot->Claim()) {
            slot->HandOver(std::move(job));
            return;
        }
    }
    const std::lock_guard guard(lock_);
    stack_.PushFront(std::move(job));
    WakeOne();
}

void vWorkerPool::Post(vSmallVector<vJobHandle, 1, 0>& jobs) {
    std::uint32_t left = jobs.Size();
    for (std::uint32_t i = 0; i < slotCount_ && left > 0; ++i) {
        if (slots_[i].Claim()) {
            slots_[i].HandOver(std::move(jobs[--left]));
        }
    }
    if (left == 0) {
        return;
    }
    const std::lock_guard guard(lock_);
    for (std::uint32_t i = 0; i < left; ++i) {
        stack_.PushFront(std::move(jobs[i]));
    }
    WakeOne();
}

void vWorkerPool::Stop() {
    stop_.store(true, std::memory_order_release);
    for (std::uint32_t i = 0; i < slotCount_; ++i) {
        slots_[i].state.exchange(SlotStopping);
        slots_[i].wake->Signal(0);
    }
    for (std::uint32_t i = 0; i < slotCount_; ++i) {
        if (slots_[i].thread.joinable()) {
            slots_[i].thread.join();
        }
    }
}

unsigned vWorkerPool::CountAsleep() const noexcept {
    return static_cast<unsigned>(std::count_if(
        slots_.get(), slots_.get() + slotCount_,
        [](const Slot& slot) { return slot.state.load(std::memory_order_relaxed) == SlotAsleep; }));
}

// Takes the slot's sleep away from it; true for whoever gets to fill it.
bool vWorkerPool::Slot::Claim() noexcept {
    std::uint32_t expected = SlotAsleep;
    // The look first: under load no thread sleeps, and a look does not take the slot's cache line.
    return state.load(std::memory_order_relaxed) == SlotAsleep &&
           state.compare_exchange_strong(expected, SlotClaimed);
}

void vWorkerPool::Slot::HandOver(vJobHandle&& job) noexcept {
    handedOver = std::move(job);
    wake->Signal(0);  // the last access: the pool may be gone when this returns
}

void vWorkerPool::RunLoop(Slot& slot) noexcept {
    do {
        SpinBriefly([&] { return slot.state.load(std::memory_order_relaxed) != SlotIdle; });
        std::uint32_t expected = SlotIdle;
        if (slot.state.compare_exchange_strong(expected, SlotAsleep)) {
            WaitForSingleEvent(slot.wake.get(), -1);
            slot.wake->Reset();
        }
        if (slot.handedOver) {
            (*slot.handedOver)();
            slot.handedOver.reset();
        }
    } while (RunStack(slot) && !stop_.load(std::memory_order_acquire));
}

// Runs jobs from the stack until it is empty; false when the thread is to leave at once.
bool vWorkerPool::RunStack(Slot& slot) {
    for (;;) {
        {
            const std::lock_guard guard(lock_);
            slot.handedOver = stack_.PopFront();
            if (!slot.handedOver) {
                // Under the lock: whoever pushes later finds the slot idle and forbids its sleep.
                return slot.state.exchange(SlotIdle) != SlotStopping;
            }
        }
        (*slot.handedOver)();
        slot.handedOver.reset();
    }
}

// Under the lock, so that the pool outlives this call even if the job just pushed is the last. A
// slot that is claimed already will look at the stack again without being told.
void vWorkerPool::WakeOne() noexcept {
    for (std::uint32_t i = 0; i < slotCount_; ++i) {
        std::atomic<std::uint32_t>& state = slots_[i].state;
        if (state.load(std::memory_order_relaxed) != SlotClaimed &&
            state.exchange(SlotClaimed) == SlotAsleep) {
            slots_[i].wake->Signal(0);
            return;
        }
    }
}

}  // namespace ZKL::vTaskDetail
