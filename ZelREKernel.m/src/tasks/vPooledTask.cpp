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
    DropFunction();
    if (vTaskNode* const parent = std::exchange(parent_, nullptr)) {
        releaseParent_(parent);
    }
}

void* TakeCallableRecord() {
    return vTaskRecordPool::Jobs().Take();
}

void GiveCallableRecord(void* record) noexcept {
    vTaskRecordPool::Jobs().Give(record);
}

}  // namespace ZKL::vTaskDetail
