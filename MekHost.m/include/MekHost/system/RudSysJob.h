#pragma once

// A reference-counted piece of work: whoever runs it calls CallExecute once, signals the waiting
// event if there is one, and drops its reference.
//
// Made with one reference, which belongs to the creator. Counting is safe from any thread; the rest
// is for one thread at a time.

#include <atomic>
#include <cstdint>

#include "MekHost/MekHostExport.h"

class MekEvent;

class MEKHOST_EXPORT RudSysJob {
public:
    RudSysJob(const RudSysJob&) = delete;
    RudSysJob& operator=(const RudSysJob&) = delete;

    // Runs the work and returns what it returns.
    std::int32_t CallExecute();

    // The event that a waiter for this job asked for, or null. The job does not own it; it must
    // outlive the run.
    MekEvent* GetWaitingEvent() const;
    // Before the job is handed to whoever runs it; null for none.
    void SetWaitingEvent(MekEvent* event);

    // Takes a reference beside one that the caller holds.
    void AddReferenceJob();
    // Drops a reference; the last one deletes the job.
    void ReleaseReferenceJob();

protected:
    RudSysJob() = default;
    virtual ~RudSysJob();

private:
    virtual std::int32_t Execute() = 0;

    MekEvent* waitingEvent_ = nullptr;
    std::atomic<std::uint32_t> references_{1};
};
