#pragma once

// The base of a service that a vLifeCycleManager starts and stops, such as the log flusher.
//
// A service overrides both Initialize and Terminate. It has no virtual destructor: a manager that
// owns it frees its memory without running the derived destructor, so a service gives back in
// Terminate what it took in Initialize and holds nothing else. Declare the class final. An
// exception from either is a failure like false to the manager.
//
// For the main thread, at start-up and shut-down.

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vLifeCycleModule {
public:
    // The manager's way in. (A friend would make the destructor accessible in the eyes of compilers
    // that warn of those which are not virtual.)
    struct ManagerAccess;

    vLifeCycleModule(const vLifeCycleModule&) = delete;
    vLifeCycleModule& operator=(const vLifeCycleModule&) = delete;

    // Starts the service; true when it runs. Here: false, so that a service which forgets to
    // override it never counts as started.
    virtual bool Initialize();
    // Stops the service; true when it is stopped. Here: false.
    virtual bool Terminate();

    // Whether a manager has started the service and not stopped it since.
    bool IsInitialized() const { return initialized_; }

protected:
    vLifeCycleModule() = default;
    ~vLifeCycleModule() = default;

    // For the manager: Initialize with the state kept: true when the service runs afterwards, which
    // it also does when it ran before and its Initialize failed now.
    bool InitializeModule();
    // For the manager: Terminate with the state kept: true when the service does not run
    // afterwards.
    bool TerminateModule();

private:
    bool initialized_ = false;
};

static_assert(sizeof(vLifeCycleModule) == 2 * sizeof(void*));

}  // namespace ZKL
