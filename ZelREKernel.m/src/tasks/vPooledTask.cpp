#include "ZelREKernel/tasks/vPooledTask.h"

#include <new>

#include "tasks/vTaskRecordPool.h"

namespace ZKL::vTaskDetail {

void vTaskAllocator::operator()(vPooledTask* job) const noexcept {
    vTaskRecordPool* const pool = job->pool_;
    job->~vPooledTask();
    pool->Give(job);
}

vJobHandle vPooledTask::CreateNode(std::function<void()>&& fn) {
    vTaskRecordPool& pool = vTaskRecordPool::Jobs();
    vJobHandle job(::new (pool.Take()) vPooledTask(std::move(fn)));
    job->pool_ = &pool;
    return job;
}

void vPooledTask::Reset() noexcept {
    function_ = nullptr;
    if (vTaskNode* const parent = std::exchange(parent_, nullptr)) {
        releaseParent_(parent);
    }
}

void vPooledTask::SetParentTask(vTaskNode* parent, ParentRelease release) noexcept {
    vTaskNode* const previous = std::exchange(parent_, parent);
    const ParentRelease releasePrevious = std::exchange(releaseParent_, release);
    if (previous != nullptr) {
        releasePrevious(previous);
    }
}

void* TakeCallableRecord() {
    return vTaskRecordPool::Jobs().Take();
}

void GiveCallableRecord(void* record) noexcept {
    vTaskRecordPool::Jobs().Give(record);
}

}  // namespace ZKL::vTaskDetail
