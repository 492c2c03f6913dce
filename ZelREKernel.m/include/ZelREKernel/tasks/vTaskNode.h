#pragma once

// A node of the task graph: a list of jobs that go to worker threads as soon as everything the node
// waits for is done. One count does all the work: it holds the creator's handles, the predecessors
// that are not done, and after the launch the jobs that are. The thread that drops it to zero the
// first time launches the node; the one that drops it to zero again deletes it, which releases the
// nodes that depend on it, in order and depth first, however long the chain on an ordinary stack.
//
// Any thread may call AddRef, Release and AddDependency on a node that is not launched yet. Jobs
// are added while the creator holds its handle; a node must be kept from its launch and deletion
// while a dependent is added to it.

#include <atomic>
#include <cstdint>
#include <exception>
#include <utility>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/base/vSmallVector.h"
#include "ZelREKernel/tasks/vPooledTask.h"
#include "ZelREKernel/tasks/vTaskRecord.h"
#include "ZelREKernel/tasks/vTaskRefPtr.h"

class MekEvent;

namespace ZKL {

class vTaskNode;
class vWorkerThread;

template <>
struct vSmallVectorHeap<vTaskDetail::RefPtr<vTaskNode>> : vTaskDetail::vTaskListHeap {};
template <>
struct vSmallVectorHeap<std::pair<vTaskDetail::vJobHandle, vWorkerThread*>>
    : vTaskDetail::vTaskListHeap {};

class ZELREKERNEL_EXPORT vTaskNode {
public:
    using JobHandle = vTaskDetail::vJobHandle;          // owns a job
    using NodeHandle = vTaskDetail::RefPtr<vTaskNode>;  // holds one reference

    // Where in its life a node is; docs/tasks.md draws it.
    enum EState : std::uint32_t {
        Idle = 0,                // waits for references and predecessors to drop
        Launched = 1,            // jobs handed out; deleted when the count is zero again
        Launching = 2,           // the launching thread is handing jobs out
        Deleted = 4,             // deletion has been decided
        SynchroPending = 8,      // synchronisation node, predecessor not done
        SynchroSignalled = 16,   // synchronisation node, event signalled, waiter not done
        SynchroAbandoned = 256,  // synchronisation node nobody waits for any more
    };

    // A pooled node; `worker`, which may be null and must outlive the node's jobs, runs the jobs
    // that name no other. Throws std::bad_alloc when the pool cannot grow, std::system_error when
    // its mutex fails.
    static NodeHandle CreateNode(vWorkerThread* worker);
    // A pooled synchronisation node without a reference, for vSynchroNode. Throws as CreateNode and
    // CreateMekEvent do.
    static vTaskNode* CreateImpl();

    // Nodes in place, without a reference: a task node, and a synchronisation node, which throws
    // what CreateMekEvent throws. Such a node must outlive its deletion by Release.
    explicit vTaskNode(vWorkerThread* worker) noexcept;
    vTaskNode();
    // Take over lists, worker or event, count and state; each node stays in its own pool.
    vTaskNode(vTaskNode&& other) noexcept;
    vTaskNode& operator=(vTaskNode&& other) noexcept;
    ~vTaskNode();

    // Adds a job for the node's own worker. Without one, the launching thread runs it. Here and
    // below std::bad_alloc when a list cannot grow; amortised constant.
    void AddTask(JobHandle&& job);
    // Adds a job for `worker`, which must not be null: a job without a worker is run by the
    // launching thread and then keeps its node alive.
    void AddTask(vWorkerThread* worker, JobHandle&& job);
    // This node runs after `other`. Null and the node itself are ignored.
    void AddDependency(vTaskNode* other);
    // `next`, which may be null, is released when this node is deleted.
    void AddDependentTask(vTaskNode* next);

    // Takes a reference beside one that the caller holds.
    void AddRef() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    // Drops a reference. The last one launches, deletes or signals on this thread, and so do the
    // releases that follow from it. Passes on the first exception of a job that it runs directly
    // (std::bad_function_call for an empty one) after all that follows is done; the node of that
    // job drops the jobs behind it unrun and counts as done.
    void Release() {
        if (DropReference()) {
            Settle(this);
        }
    }

    // Waits for a synchronisation node, at most `timeoutMs` milliseconds, -1 for ever. Returns as
    // WaitForSingleEvent.
    int Wait(int timeoutMs);
    // The waiter gives the synchronisation node up; nobody may use it through the waiter's pointer
    // any more.
    void DeleteSynchroNode();
    // Destroys the jobs, releases the dependents in order and gives the record back. Linear.
    void DeleteNode();

    // Kept for callers that name their nodes; the name is not stored.
    void SetName(const char* name) noexcept;

    // For those who debug: another thread may change either at once.
    EState State() const noexcept {
        return static_cast<EState>(state_.load(std::memory_order_acquire));
    }
    // Handles, predecessors, jobs and the guard.
    std::uint32_t ReferenceCount() const noexcept { return count_.load(std::memory_order_relaxed); }

private:
    using WorkerTask = std::pair<JobHandle, vWorkerThread*>;

    union Target {
        vWorkerThread* worker;  // of a task node
        MekEvent* event;        // of a synchronisation node
        vTaskNode* outer;       // during deletion: the node in whose deletion this one's happens
    };

    static void Settle(vTaskNode* released);
    static void Drain(vTaskNode* open, vTaskNode* released);
    static vTaskNode* NextReleased(vTaskNode*& open) noexcept;
    static void ReleaseParent(vTaskNode* node);

    // Release: what this holder did is seen by the thread that launches or deletes; acquire: that
    // thread sees it. The only reference there is can be dropped without a locked operation, since
    // nobody else has one to copy.
    bool DropReference() noexcept {
        if (count_.load(std::memory_order_acquire) == 1) {
            count_.store(0, std::memory_order_relaxed);
            return true;
        }
        return count_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }
    bool Transit(EState from, EState to) noexcept {
        std::uint32_t expected = from;
        return state_.compare_exchange_strong(expected, to);
    }
    bool Decide(std::exception_ptr& failure) noexcept;
    bool Launch(std::exception_ptr& failure) noexcept;
    void HandOutJobs();
    void RunDirectly(vTaskDetail::vPooledTask& job);
    void DestroyEvent() noexcept;
    void BeginDelete() noexcept;
    vTaskNode* TakeDependent() noexcept;
    static void PrefetchLaunch(const vTaskNode* node) noexcept;
    void EndDelete() noexcept;

    vSmallVector<NodeHandle, 1, 0> dependents_;
    vSmallVector<WorkerTask, 1, 0> workerTasks_;
    vSmallVector<JobHandle, 1, 0> tasks_;
    Target target_;
    // During deletion, when nobody holds a reference: the number of dependents released so far.
    std::atomic<std::uint32_t> count_ = 0;
    std::atomic<std::uint32_t> state_;
    vTaskDetail::vTaskRecordPool* pool_ = nullptr;
};

static_assert(sizeof(vTaskNode) == vTaskDetail::kTaskRecordSize);

}  // namespace ZKL
