#pragma once

// The background thread that writes what the asynchronous loggers flush. One per process at most.
//
// Start and Stop are for the main thread; Queue is safe from any thread, also while the flusher is
// started or stopped. A logger's lock is taken before the flusher's mutex, never the reverse.
//
// The mutex guards the queue alone. The thread takes the whole queue and writes it unlocked, so
// that a slow output holds up no thread that logs; order, and what stop writes and drops, are the
// same as if the mutex were held.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string_view>
#include <thread>

#include "core/LogQueue.h"

namespace ZKL {

class LogFlusher {
public:
    // Starts the thread unless it runs. Throws std::system_error or std::bad_alloc, with no flusher
    // left behind.
    static void Start();
    // Has the thread write what is queued, drops what comes after, joins the thread and frees the
    // flusher, if there is one. Throws std::system_error when called on the flusher's thread.
    static void Stop();
    // Queues the text; false when there is no flusher, so that the caller writes it. Throws
    // std::bad_alloc.
    static bool Queue(std::string_view text, vLoggerOutput& output);

private:
    void Run();

    // Outside the object: a thread that is about to queue may find that the flusher is just gone.
    static std::mutex s_mutex;
    static std::atomic<LogFlusher*> s_flusher;  // written under the mutex

    bool stop_ = false;
    bool waiting_ = false;  // the thread sleeps until it is signalled
    std::thread thread_;
    std::condition_variable wake_;
    LogQueue queue_;
};

}  // namespace ZKL
