#pragma once

// Stops the threads of the process that made this helper process, and reads their registers. Safe
// in a signal handler's helper: no heap, no locks.

#include <sys/types.h>
#include <ucontext.h>

#include "diagnostics/linux/MinidumpFormat.h"
#include "diagnostics/linux/RawArray.h"
#include "diagnostics/linux/RawText.h"

namespace ZKL {

struct StoppedThread {
    pid_t id;
    bool known;  // its registers could be read
    int signal;  // that stopped it on its way to the thread, which still is to get it; 0 for none
    Minidump::Context registers;
    RawText<17> name;
};

class StoppedThreads {
public:
    // `process` is the process that made this one, which may have ended since; its thread `asking`
    // waits for us and is not stopped. `context` holds the registers of that thread, or is null to
    // leave them unknown.
    StoppedThreads(pid_t process, pid_t asking, const ucontext_t* context);
    ~StoppedThreads();
    StoppedThreads(const StoppedThreads&) = delete;
    StoppedThreads& operator=(const StoppedThreads&) = delete;

    // Lets them run on; what was read of them stays.
    void Release();

    pid_t Process() const { return process_; }
    // The thread that asks comes first.
    const RawArray<StoppedThread>& Threads() const { return threads_; }

private:
    void StopAll();
    bool Holds(pid_t id) const;

    pid_t process_;
    RawArray<StoppedThread> threads_;
};

}  // namespace ZKL
