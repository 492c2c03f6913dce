#pragma once

// The job of the task graph: a callable in a pooled record, owned through a unique handle.
// Destroying the handle destroys the callable, lets go of the task node that waits for the job, and
// gives the record back to its pool, in this order.
//
// A job belongs to one thread at a time. Handles may be made and destroyed on any thread.

#include <cstddef>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/base/vSmallVector.h"
#include "ZelREKernel/tasks/vTaskRecord.h"

namespace ZKL {

class vTaskNode;

namespace vTaskDetail {

class vPooledTask;
class vTaskRecordPool;
class vWorkerPool;

// The deleter of a job handle. Letting go of the node may complete it on this thread, and so launch
// the nodes that depend on it. Ends the process if the pool cannot take the record back.
struct ZELREKERNEL_EXPORT vTaskAllocator {
    // Destroys the job and gives its record back; not null.
    void operator()(vPooledTask* job) const noexcept;
};

// The owner of a job; null when it was handed on.
using vJobHandle = std::unique_ptr<vPooledTask, vTaskAllocator>;

}  // namespace vTaskDetail

template <>
struct vSmallVectorHeap<vTaskDetail::vJobHandle> : vTaskDetail::vTaskListHeap {};

namespace vTaskDetail {

class ZELREKERNEL_EXPORT vPooledTask {
public:
    // Makes a pooled job of `fn`, which may be empty. Throws std::bad_alloc when the pool cannot
    // grow, std::system_error when its mutex fails.
    static vJobHandle CreateNode(std::function<void()>&& fn);

    // Makes a pooled job of any copyable callable. One of at most 64 bytes costs no heap
    // allocation: what std::function cannot hold in itself is placed in a second record of the
    // pool. Throws as CreateNode, and what the callable's copy or move throws.
    template <typename F>
    static vJobHandle Create(F&& callable);

    // A job that is in no pool, for tests and members; CreateNode makes pooled ones.
    explicit vPooledTask(std::function<void()>&& fn) noexcept : function_(std::move(fn)) {}
    // Copies and moves concern the function alone: node and pool stay with the object.
    vPooledTask(const vPooledTask& other) : function_(other.function_) {}
    vPooledTask(vPooledTask&& other) noexcept : function_(std::move(other.function_)) {}
    vPooledTask& operator=(const vPooledTask& other) {
        function_ = other.function_;
        return *this;
    }
    vPooledTask& operator=(vPooledTask&& other) noexcept {
        function_ = std::move(other.function_);
        return *this;
    }
    // Replaces the function; node and pool stay.
    vPooledTask& operator=(std::function<void()>&& fn) noexcept {
        function_ = std::move(fn);
        return *this;
    }
    ~vPooledTask() { Reset(); }

    // Calls the function. An empty one throws std::bad_function_call.
    void operator()() { function_(); }
    // Destroys the function, then lets go of the node that waits for this job.
    void Reset() noexcept;

    // Whether there is a function to call.
    explicit operator bool() const noexcept { return static_cast<bool>(function_); }

private:
    friend class vJobQueue;
    friend class ZKL::vTaskNode;
    friend struct vTaskAllocator;
    friend class vWorkerPool;

    // How a job lets go of its node: jobs stand below nodes and know no more of them.
    using ParentRelease = void (*)(vTaskNode*);

    void DropFunction() noexcept { function_ = nullptr; }
    // Takes over one reference on `parent` and then lets go of the previous parent.
    void SetParentTask(vTaskNode* parent, ParentRelease release) noexcept {
        vTaskNode* const previous = std::exchange(parent_, parent);
        const ParentRelease releasePrevious = std::exchange(releaseParent_, release);
        if (previous != nullptr) {
            releasePrevious(previous);
        }
    }

    vTaskNode* parent_ = nullptr;
    std::function<void()> function_;
    vTaskRecordPool* pool_ = nullptr;
    ParentRelease releaseParent_ = nullptr;
    vPooledTask* next_ = nullptr;  // in a vJobQueue
};

static_assert(sizeof(vPooledTask) <= kTaskRecordSize);

// One record of the job pool for a callable. TakeCallableRecord throws as vPooledTask::CreateNode:
ZELREKERNEL_EXPORT void* TakeCallableRecord();
ZELREKERNEL_EXPORT void GiveCallableRecord(void* record) noexcept;

// A callable that lives in a pooled record wherever std::function would put it on the heap: the
// standard library makes such a callable with a plain new-expression, which finds these operators.
template <typename F>
struct vPooledCallable {
    F callable;  // what the job calls

    // Calls it.
    void operator()() { callable(); }
    // A record of the pool, and back into it:
    static void* operator new(std::size_t) { return TakeCallableRecord(); }
    static void operator delete(void* record) noexcept { GiveCallableRecord(record); }
};

template <typename F>
vJobHandle vPooledTask::Create(F&& callable) {
    using Callable = std::decay_t<F>;
    // NOLINTNEXTLINE(misc-redundant-expression): it is so for some types only
    constexpr bool kHeldInline = sizeof(Callable) <= 2 * sizeof(void*) &&
                                 alignof(Callable) <= alignof(void*) &&
                                 std::is_trivially_copyable_v<Callable>;
    constexpr bool kFitsRecord =
        // NOLINTNEXTLINE(misc-redundant-expression): as above
        sizeof(Callable) <= kTaskRecordSize && alignof(Callable) <= kTaskRecordAlignment;
    if constexpr (std::is_same_v<Callable, std::function<void()>> || kHeldInline || !kFitsRecord) {
        return CreateNode(std::function<void()>(std::forward<F>(callable)));
    } else {
        return CreateNode(
            std::function<void()>(vPooledCallable<Callable>{std::forward<F>(callable)}));
    }
}

}  // namespace vTaskDetail
}  // namespace ZKL
