#include "tasks/vWorkerPool.h"

#include <MekHost/system/MekEvent.h>
#include <MekHost/system/MekSignalStack.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

#include "base/ThreadAtWork.h"
#include "tasks/Patience.h"

namespace ZKL::vTaskDetail {
namespace {

// So many jobs are held at most before the other threads get them, in one step.
constexpr std::uint32_t kMostHeld = 32;

}  // namespace

vWorkerPool::vWorkerPool(unsigned threadCount)
    : slots_(std::make_unique<Slot[]>(threadCount)), slotCount_(threadCount) {
    for (unsigned i = 0; i < threadCount; ++i) {
        slots_[i].wake.reset(CreateMekEvent(0));
        slots_[i].pool = this;
    }
    try {
        for (unsigned i = 0; i < threadCount; ++i) {
            // Counted from now on: the process may end before the thread has begun.
            slots_[i].thread = std::thread(
                [this, i, atWork = std::make_unique<ThreadAtWork>()] { RunLoop(slots_[i]); });
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
    if (Hold(std::move(job))) {
        return;
    }
    for (Slot* slot = slots_.get(); slot != slots_.get() + slotCount_; ++slot) {
        if (slot->Claim()) {
            slot->HandOver(std::move(job));  // NOLINT(bugprone-use-after-move): it was not held
            return;
        }
    }
    const std::lock_guard guard(lock_);
    stack_.PushFront(std::move(job));
    WakeOne();
}

void vWorkerPool::Post(vSmallVector<vJobHandle, 1, 0>& jobs) {
    std::uint32_t held = 0;
    while (held < jobs.Size() && Hold(std::move(jobs[held]))) {
        ++held;
    }
    std::uint32_t left = jobs.Size();
    // Nothing of the pool is looked at once the last job is handed over: it may be gone by then.
    for (std::uint32_t i = 0; left > held && i < slotCount_; ++i) {
        if (slots_[i].Claim()) {
            slots_[i].HandOver(std::move(jobs[--left]));
        }
    }
    if (left == held) {
        return;
    }
    const std::lock_guard guard(lock_);
    for (std::uint32_t i = held; i < left; ++i) {
        stack_.PushFront(std::move(jobs[i]));
    }
    WakeOne();
}

// Keeps a job that this very thread posts, if it may; false leaves the job with the caller.
bool vWorkerPool::Hold(vJobHandle&& job) noexcept {
    Slot* const slot = OwnSlot::Get();
    if (slot == nullptr || slot->pool != this || !slot->holdsPosts) {
        return false;
    }
    if (IsAlone()) {
        if (!stack_.IsEmpty()) {
            const std::lock_guard guard(lock_);
            slot->held.PushAllFront(stack_);  // they were posted earlier
        }
    } else if (slot->heldCount++ == kMostHeld) {
        Publish(*slot);
        slot->heldCount = 1;
    }
    slot->held.PushFront(std::move(job));
    return true;
}

// Hands what a thread holds to the sleeping threads, the youngest first, and puts the rest on the
// stack.
void vWorkerPool::Publish(Slot& slot) noexcept {
    slot.heldCount = 0;
    for (std::uint32_t i = 0; i < slotCount_ && !slot.held.IsEmpty(); ++i) {
        if (slots_[i].Claim()) {
            slots_[i].HandOver(slot.held.PopFront());
        }
    }
    if (!slot.held.IsEmpty()) {
        const std::lock_guard guard(lock_);
        stack_.PushAllFront(slot.held);
        WakeOne();
    }
}

void vWorkerPool::Stop() {
    stop_.store(true, std::memory_order_release);
    // Whoever has claimed a slot wakes it, with a job in its hand-off place: woken earlier, the
    // thread would find nothing and leave.
    for (std::uint32_t i = 0; i < slotCount_; ++i) {
        if (slots_[i].state.exchange(SlotStopping) == SlotAsleep) {
            slots_[i].wake->Signal(0);
        }
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
    const MekSignalStack stack;
    OwnSlot::Set(&slot);
    slot.holdsPosts = IsAlone();
    vPatience patience;
    do {
        patience.SpinUntil([&] { return slot.state.load(std::memory_order_relaxed) != SlotIdle; });
        std::uint32_t expected = SlotIdle;
        if (slot.state.compare_exchange_strong(expected, SlotAsleep)) {
            patience.Watch([&] { WaitForSingleEvent(slot.wake.get(), -1); });
            slot.wake->Reset();
        }
        if (slot.handedOver) {
            RunJob(slot);
        }
        while (TakeJob(slot)) {
            RunJob(slot);
        }
    } while (!stop_.load(std::memory_order_acquire));
    OwnSlot::Set(nullptr);
}

// Runs the job and destroys it: first its function, which may be anything, then what is ours.
void vWorkerPool::RunJob(Slot& slot) {
    (*slot.handedOver)();
    slot.handedOver->DropFunction();
    slot.holdsPosts = true;
    slot.handedOver.reset();
    slot.holdsPosts = IsAlone();
}

// Puts the youngest job into the hand-off place; false when there is none.
bool vWorkerPool::TakeJob(Slot& slot) {
    if (slot.held.IsEmpty() || (IsAlone() && !stack_.IsEmpty())) {
        return TakeShared(slot);
    }
    slot.handedOver = slot.held.PopFront();
    if (!IsAlone()) {
        Publish(slot);
    }
    return true;
}

bool vWorkerPool::TakeShared(Slot& slot) {
    const std::lock_guard guard(lock_);
    if (IsAlone()) {
        slot.held.PushAllFront(stack_);  // they were posted after all that is held
        slot.handedOver = slot.held.PopFront();
    } else {
        slot.handedOver = stack_.PopFront();
    }
    if (slot.handedOver) {
        return true;
    }
    // Under the lock: whoever pushes later finds the slot idle and forbids its sleep. Where it was
    // SlotStopping, stop_ is set as well and ends the loop.
    slot.state.exchange(SlotIdle);
    return false;
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

vPublishPosts::vPublishPosts() noexcept
    : slot_([] {
          vWorkerPool::Slot* const slot = vWorkerPool::OwnSlot::Get();
          return slot != nullptr && slot->holdsPosts && !slot->pool->IsAlone() ? slot : nullptr;
      }()) {
    if (slot_ != nullptr) {
        slot_->pool->Publish(*slot_);
        slot_->holdsPosts = false;
    }
}

vPublishPosts::~vPublishPosts() {
    if (slot_ != nullptr) {
        slot_->holdsPosts = true;
    }
}

}  // namespace ZKL::vTaskDetail
