#pragma once

// The background thread that writes what the asynchronous loggers flush. One per process at most.
//
// Start and Stop are for the main thread; Queue is safe from any thread, also while the flusher is
// started or stopped. A logger's lock is taken before the flusher's, never the reverse.
//
// The lock guards the queue alone. The thread takes the whole queue and writes it unlocked, so
// that a slow output holds up no thread that logs; order, and what stop writes and drops, are the
// same as if the lock were held.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <thread>

#include "MekHost/system/MekEvent.h"
#include "MekHost/system/MekThreads.h"
#include "ZelREKernel/base/vSlimLock.h"
#include "core/LogQueue.h"

namespace ZKL {

class LogFlusher final : public MekThreads {
public:
    // Starts the thread unless it runs. Throws std::system_error or std::bad_alloc, with no flusher
    // left behind.
    static void Start();
    // Has the thread write what is queued, drops what comes after, joins the thread and frees the
    // flusher, if there is one. Throws std::system_error when called on the flusher's thread.
    static void Stop();
    // For a child that fork() made, where the thread is not: there is no flusher from now on, and
    // what is queued is the parent's to write.
    static void LeaveToParent() noexcept;
    // Queues the text; false when there is no flusher, so that the caller writes it. Throws
    // std::bad_alloc.
    static bool Queue(std::string_view text, vLoggerOutput& output);

private:
    LogFlusher();

    std::int32_t Run() override;
    static void WriteAtProcessEnd();

    // Outside the object: a thread that is about to queue may find that the flusher is just gone.
    static vSlimLock s_lock;
    static std::atomic<LogFlusher*> s_flusher;  // written under the lock
    static LogFlusher* s_parents;               // kept, being in no known state

    bool stop_ = false;
    bool waiting_ = false;  // the thread sleeps until it is signalled
    std::thread::id id_;    // of the thread
    std::unique_ptr<MekEvent> wake_;
    LogQueue queue_;
    LogQueue batch_;  // what the thread is writing
};

}  // namespace ZKL
