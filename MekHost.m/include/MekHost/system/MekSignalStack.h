#pragma once

// Room for the handler of a fatal fault: a thread that has used up its stack can only be reported
// on another one.

#include "MekHost/MekHostExport.h"

// Gives the calling thread that room while the object lives. Make it first in a thread's entry
// function, and destroy it on the same thread; elsewhere the room stays. A thread that has such
// room already keeps its own; where there is no memory for it the thread goes on without. Every
// thread of MekThreads has one.
class MEKHOST_EXPORT MekSignalStack {
public:
    MekSignalStack();
    ~MekSignalStack();
    MekSignalStack(const MekSignalStack&) = delete;
    MekSignalStack& operator=(const MekSignalStack&) = delete;

private:
    void* memory_ = nullptr;
};
