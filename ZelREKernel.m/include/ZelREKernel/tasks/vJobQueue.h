#pragma once

// A list of jobs linked through their own records, so that queueing a job never allocates. Works as
// a queue (PushBack, PopFront) and as a stack (PushFront, PopFront).
//
// Owns its jobs. One thread at a time, but for IsEmpty, which any thread may ask.

#include <atomic>

#include "ZelREKernel/tasks/vPooledTask.h"

namespace ZKL::vTaskDetail {

class vJobQueue {
public:
    vJobQueue() noexcept = default;
    vJobQueue(const vJobQueue&) = delete;
    vJobQueue& operator=(const vJobQueue&) = delete;
    ~vJobQueue() { DestroyAll(); }

    // Adds the job, not null, behind the others.
    void PushBack(vJobHandle&& job) noexcept {
        vPooledTask* const added = job.release();
        added->next_ = nullptr;
        if (IsEmpty()) {
            SetHead(added);
        } else {
            tail_->next_ = added;
        }
        tail_ = added;
    }

    // Adds the job, not null, before the others.
    void PushFront(vJobHandle&& job) noexcept {
        vPooledTask* const added = job.release();
        added->next_ = Head();
        if (added->next_ == nullptr) {
            tail_ = added;
        }
        SetHead(added);
    }

    // Null when there is none.
    vJobHandle PopFront() noexcept {
        vPooledTask* const first = Head();
        if (first != nullptr) {
            SetHead(first->next_);
            PrefetchAfter(*first);
        }
        return vJobHandle(first);
    }

    // Moves every job of `other` behind the jobs of this list.
    void TakeAll(vJobQueue& other) noexcept {
        if (other.IsEmpty()) {
            return;
        }
        if (IsEmpty()) {
            SetHead(other.Head());
        } else {
            tail_->next_ = other.Head();
        }
        tail_ = other.tail_;
        other.SetHead(nullptr);
    }

    // Moves every job of `other`, in its order, before the jobs of this list.
    void PushAllFront(vJobQueue& other) noexcept {
        if (other.IsEmpty()) {
            return;
        }
        other.tail_->next_ = Head();
        if (IsEmpty()) {
            tail_ = other.tail_;
        }
        SetHead(other.Head());
        other.SetHead(nullptr);
    }

    // Destroys the jobs in order without running them, those included that come in meanwhile.
    void DestroyAll() noexcept {
        while (PopFront() != nullptr) {
        }
    }

    // From another thread this is a hint: jobs may come and go at once.
    bool IsEmpty() const noexcept { return Head() == nullptr; }

private:
    // Relaxed: the word only tells whether a look is worthwhile; whoever takes a job holds the lock
    // that guards the list.
    vPooledTask* Head() const noexcept { return head_.load(std::memory_order_relaxed); }
    void SetHead(vPooledTask* job) noexcept { head_.store(job, std::memory_order_relaxed); }

    // Fetches into the cache what is needed two jobs and one job from now: the records of a large
    // graph are used in another order than they lie in memory.
    static void PrefetchAfter(const vPooledTask& job) noexcept {
        if (const vPooledTask* const next = job.next_) {
            PrefetchTaskRecord(next->next_);
            PrefetchTaskRecord(next->parent_);
        }
    }

    std::atomic<vPooledTask*> head_ = nullptr;
    vPooledTask* tail_ = nullptr;  // meaningful while there is a head
};

}  // namespace ZKL::vTaskDetail
