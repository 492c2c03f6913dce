#include "MekHost/system/RudSysJob.h"

RudSysJob::~RudSysJob() = default;

std::int32_t RudSysJob::CallExecute() {
    return Execute();
}

MekEvent* RudSysJob::GetWaitingEvent() const {
    return waitingEvent_;
}

void RudSysJob::SetWaitingEvent(MekEvent* event) {
    waitingEvent_ = event;
}

void RudSysJob::AddReferenceJob() {
    // Whoever adds a reference holds one already, so nothing needs ordering.
    references_.fetch_add(1, std::memory_order_relaxed);
}

void RudSysJob::ReleaseReferenceJob() {
    // Release: this thread's use of the job comes before its end. Acquire: the deleter sees it all.
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}
