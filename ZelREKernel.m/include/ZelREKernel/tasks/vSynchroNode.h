#pragma once

// Waits for a task node: a handle to a synchronisation node that depends on it. Made while the
// caller still holds the task node's handle; may be waited on again after a time-out, or dropped
// without a wait.
//
// One handle belongs to one thread at a time. Waiting on the thread that has to run the node's jobs
// waits for ever.

#include <utility>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/tasks/vTaskNode.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vSynchroNode {
public:
    // A null `node` makes an empty handle. Throws as vTaskNode::CreateNode and CreateMekEvent do.
    explicit vSynchroNode(vTaskNode* node);
    vSynchroNode(vSynchroNode&& other) noexcept
        : synchro_(std::exchange(other.synchro_, nullptr)) {}
    vSynchroNode& operator=(vSynchroNode&& other) noexcept;
    // Gives the wait up.
    ~vSynchroNode();

    // Waits until the node is deleted, its jobs done, at most `timeoutMs` milliseconds; -1 waits
    // for ever, 0 only looks. Returns 0 and empties the handle, or what WaitForSingleEvent returned
    // and keeps it. An empty handle returns 0 at once.
    int Wait(int timeoutMs);
    // The same with the default time-out.
    int Wait();

    // Whether there is something to wait for.
    explicit operator bool() const noexcept { return synchro_ != nullptr; }

private:
    vTaskNode* synchro_ = nullptr;
};

// The time-out in milliseconds of every later vSynchroNode::Wait() on any thread; -1, the initial
// value, waits for ever.
ZELREKERNEL_EXPORT void SetDefaultTaskTimeout(int timeoutMs) noexcept;

}  // namespace ZKL
