#include "ZelREKernel/tasks/vTaskNode.h"

#include <MekHost/system/MekEvent.h>

#include <algorithm>
#include <new>

#include "ZelREKernel/tasks/vWorkerThread.h"
#include "tasks/vTaskRecordPool.h"
#include "tasks/vWorkerPool.h"

namespace ZKL {
namespace {

// What a synchronisation node gives its event as the reason of the signal.
constexpr int kNodeDone = 4;

// How many dependents ahead of its release a node is fetched into the cache, and what it needs.
constexpr std::uint32_t kPrefetchDistance = 4;
constexpr std::uint32_t kLaunchDistance = 2;

}  // namespace

vTaskNode::NodeHandle vTaskNode::CreateNode(vWorkerThread* worker) {
    auto& pool = vTaskDetail::vTaskRecordPool::Nodes();
    auto* const node = ::new (pool.Take()) vTaskNode(worker);
    node->pool_ = &pool;
    node->count_.store(1, std::memory_order_relaxed);  // nobody else knows it yet
    return NodeHandle::Adopt(node);
}

vTaskNode* vTaskNode::CreateImpl() {
    auto& pool = vTaskDetail::vTaskRecordPool::Nodes();
    void* const record = pool.Take();
    try {
        auto* const node = ::new (record) vTaskNode();
        node->pool_ = &pool;
        return node;
    } catch (...) {
        pool.Give(record);
        throw;
    }
}

vTaskNode::vTaskNode(vWorkerThread* worker) noexcept : target_{.worker = worker}, state_(Idle) {}

vTaskNode::vTaskNode() : target_{.event = CreateMekEvent(0)}, state_(SynchroPending) {}

vTaskNode::vTaskNode(vTaskNode&& other) noexcept : vTaskNode(nullptr) {
    *this = std::move(other);
}

vTaskNode& vTaskNode::operator=(vTaskNode&& other) noexcept {
    if (this != &other) {
        DestroyEvent();
        dependents_ = std::move(other.dependents_);
        workerTasks_ = std::move(other.workerTasks_);
        tasks_ = std::move(other.tasks_);
        target_ = std::exchange(other.target_, Target{.worker = nullptr});
        count_.store(other.ReferenceCount(), std::memory_order_relaxed);
        state_.store(other.State(), std::memory_order_relaxed);
    }
    return *this;
}

vTaskNode::~vTaskNode() {
    BeginDelete();
    dependents_.Clear();
}

void vTaskNode::AddTask(JobHandle&& job) {
    tasks_.PushBack(std::move(job));
}

void vTaskNode::AddTask(vWorkerThread* worker, JobHandle&& job) {
    workerTasks_.PushBack(WorkerTask(std::move(job), worker));
}

void vTaskNode::AddDependency(vTaskNode* other) {
    if (other != nullptr && other != this) {
        other->AddDependentTask(this);
    }
}

void vTaskNode::AddDependentTask(vTaskNode* next) {
    dependents_.PushBack(NodeHandle(next));
}

int vTaskNode::Wait(int timeoutMs) {
    return WaitForSingleEvent(target_.event, timeoutMs);
}

void vTaskNode::DeleteSynchroNode() {
    if (!Transit(SynchroPending, SynchroAbandoned)) {
        if (State() == SynchroSignalled) {
            // The releasing thread may be between its change of state and its signal: the event,
            // and with it the record, may go only after the signal.
            WaitForSingleEvent(target_.event, -1);
        }
        DeleteNode();
    }
}

void vTaskNode::DeleteNode() {
    BeginDelete();
    target_.outer = nullptr;
    Drain(this, nullptr);
}

void vTaskNode::SetName(const char*) noexcept {}

// Follows a reference count that has dropped to zero to the end of all that it brings about.
void vTaskNode::Settle(vTaskNode* released) {
    Drain(nullptr, released);
}

// The recursion "deleting a node releases its dependents, which launches and deletes them in turn"
// as a loop. The nodes whose deletion is under way form a stack, linked through their own records
// and topped by `open`; `released` is the node whose count has dropped to zero last, if any.
void vTaskNode::Drain(vTaskNode* open, vTaskNode* released) {
    std::exception_ptr failure;
    for (;;) {
        if (released != nullptr && released->Decide(failure)) {
            released->BeginDelete();
            released->target_.outer = open;
            open = released;
        }
        released = NextReleased(open);
        if (released == nullptr) {
            break;
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

// Goes on with the deletions until one releases a node for good; null when all are through.
vTaskNode* vTaskNode::NextReleased(vTaskNode*& open) noexcept {
    while (open != nullptr) {
        if (vTaskNode* const dependent = open->TakeDependent()) {
            if (dependent->DropReference()) {
                return dependent;
            }
        } else {
            std::exchange(open, open->target_.outer)->EndDelete();
        }
    }
    return nullptr;
}

void vTaskNode::ReleaseParent(vTaskNode* node) {
    node->Release();
}

// What a node does whose count has dropped to zero. True when it is to be deleted.
bool vTaskNode::Decide(std::exception_ptr& failure) noexcept {
    MekEvent* const event = target_.event;
    switch (State()) {
        case Idle:
            return Transit(Idle, Launching) && Launch(failure);
        case Launched:
            return Transit(Launched, Deleted);
        case SynchroPending:
            if (Transit(SynchroPending, SynchroSignalled)) {
                event->Signal(kNodeDone);  // the waiter may delete this node at once
                return false;
            }
            [[fallthrough]];  // abandoned at this moment
        case SynchroAbandoned:
            DestroyEvent();
            return Transit(SynchroAbandoned, Deleted);
        default:
            return false;
    }
}

// Fetches into the cache what launch and deletion of a node need beside its record, if the caller
// holds the only reference on it: its creator may be adding jobs to it else. Null is fine.
void vTaskNode::PrefetchLaunch(const vTaskNode* node) noexcept {
    if (node == nullptr || node->count_.load(std::memory_order_acquire) != 1) {
        return;
    }
    if (!node->tasks_.IsEmpty()) {
        vTaskDetail::PrefetchTaskRecord(node->tasks_.begin()->get());
    }
    __builtin_prefetch(node->dependents_.begin());
}

// Hands the jobs out. True when there is none or all are done already.
bool vTaskNode::Launch(std::exception_ptr& failure) noexcept {
    if (tasks_.IsEmpty() && workerTasks_.IsEmpty()) {
        return true;
    }
    // A reference for each job that goes to a worker, and the guard, which keeps the node while it
    // is being launched.
    const std::uint32_t pooled = target_.worker != nullptr ? tasks_.Size() : 0;
    count_.fetch_add(workerTasks_.Size() + pooled + 1, std::memory_order_relaxed);
    try {
        HandOutJobs();
    } catch (...) {
        if (!failure) {
            failure = std::current_exception();
        }
        workerTasks_.Clear();
    }
    Transit(Launching, Launched);
    const std::uint32_t first = std::min(dependents_.Size(), kLaunchDistance);
    for (std::uint32_t i = 0; i < first; ++i) {
        vTaskDetail::PrefetchTaskRecord(dependents_[i].Get());
    }
    return DropReference();
}

void vTaskNode::HandOutJobs() {
    for (WorkerTask& task : workerTasks_) {
        task.first->SetParentTask(this, &ReleaseParent);
    }
    if (target_.worker != nullptr) {
        for (JobHandle& job : tasks_) {
            job->SetParentTask(this, &ReleaseParent);
        }
        target_.worker->PostJob(std::move(tasks_));
    } else {
        for (JobHandle& job : tasks_) {
            RunDirectly(*job);
        }
    }
    for (auto& [job, worker] : workerTasks_) {
        if (worker == nullptr || !worker->PostJob(std::move(job))) {
            RunDirectly(*job);  // NOLINT(bugprone-use-after-move): a refused job stays here
        }
    }
}

// A job may wait for others that were launched before it.
void vTaskNode::RunDirectly(vTaskDetail::vPooledTask& job) {
    const vTaskDetail::vPublishPosts published;
    job();
}

void vTaskNode::DestroyEvent() noexcept {
    if (State() >= SynchroPending) {
        delete std::exchange(target_.event, nullptr);
    }
}

// All of a deletion that comes before the dependents.
void vTaskNode::BeginDelete() noexcept {
    const EState state = State();
    if (state == SynchroSignalled || state == SynchroAbandoned) {
        DestroyEvent();
    }
    if (!tasks_.IsEmpty() || !workerTasks_.IsEmpty()) {
        const vTaskDetail::vPublishPosts published;  // the functions destroyed may be anything
        tasks_.DropElements();
        workerTasks_.DropElements();
    }
    tasks_.Clear();
    workerTasks_.Clear();
    count_.store(0, std::memory_order_relaxed);
    const std::uint32_t first = std::min(dependents_.Size(), kLaunchDistance);
    for (std::uint32_t i = 0; i < first; ++i) {
        PrefetchLaunch(dependents_[i].Get());
    }
}

// The next dependent that is not null, with the reference on it; null after the last.
vTaskNode* vTaskNode::TakeDependent() noexcept {
    std::uint32_t released = count_.load(std::memory_order_relaxed);
    vTaskNode* dependent = nullptr;
    while (dependent == nullptr && released < dependents_.Size()) {
        dependent = dependents_[released++].Detach();
    }
    count_.store(released, std::memory_order_relaxed);
    if (released + kPrefetchDistance < dependents_.Size()) {
        vTaskDetail::PrefetchTaskRecord(dependents_[released + kPrefetchDistance].Get());
        PrefetchLaunch(dependents_[released + kLaunchDistance].Get());
    }
    return dependent;
}

void vTaskNode::EndDelete() noexcept {
    dependents_.Clear();
    count_.store(0, std::memory_order_relaxed);
    if (pool_ != nullptr) {
        pool_->Give(this);
    }
}

}  // namespace ZKL
