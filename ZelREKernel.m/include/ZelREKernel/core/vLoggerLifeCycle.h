#pragma once

// The service that runs the background flusher: while it is up, the asynchronous log channels queue
// their text and one thread writes it, in order, each line flushed.
//
// A line costs its caller the formatting and a copy. Text queued beyond 64 MiB makes its caller
// wait for the thread.
//
// A child that fork() made has no flusher, whether or not its parent has: its channels write
// directly until Initialize starts one, and what was queued is the parent's to write.
//
// For the main thread; any thread may log meanwhile.

#include "ZelREKernel/core/vLifeCycleModule.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vLoggerLifeCycle final : public vLifeCycleModule {
public:
    // Starts the flusher, of which there is one per process; true, also when it runs already.
    // Throws std::system_error when the system has no thread for it, std::bad_alloc without memory.
    bool Initialize() override;
    // Writes what is queued, drops what is logged from now on until the thread has ended, and ends
    // it; true, also when there is none. The channels then write directly. Throws std::system_error
    // when called on the flusher's thread.
    bool Terminate() override;
};

}  // namespace ZKL
