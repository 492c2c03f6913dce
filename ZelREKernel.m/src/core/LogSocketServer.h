#pragma once

// Listens on the log's TCP port and sends text to the viewer that connected last.
//
// Send may be called from any thread. It waits at most twice kSendTimeoutMs for a viewer that does
// not read, once for the rest of an earlier text and once for its own, so that such a one cannot
// stall the threads that log. What a time-out cut off is kept and goes out before any later text,
// and a text that finds it still in the way is dropped whole: the viewer misses lines but never
// sees a torn one.
//
// In a child that fork() made there is no such thread, and the listener and the viewer stay the
// parent's: nothing is sent, and only the child's descriptors go with the server.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "MekHost/system/MekEvent.h"
#include "MekHost/system/MekMutex.h"
#include "MekHost/system/MekSockets.h"
#include "MekHost/system/MekThreads.h"
#include "MekHost/system/MekUnicodeString.h"

namespace ZKL {

class LogSocketServer final : public MekThreads {
public:
    static constexpr int kPort = 4666;
    static constexpr int kSendTimeoutMs = 20;
    static constexpr std::int32_t kMaxSendFailures = 5;

    // Throws std::bad_alloc or std::system_error.
    LogSocketServer();
    // Frees the port, disconnects the viewer and waits for the thread.
    ~LogSocketServer() override;
    // Tells the viewer that the log ends, and destroys the server. Where the system has ended the
    // thread at the end of the process, the listener is left to the system, too: the thread may
    // have it in hand.
    static void End(std::unique_ptr<LogSocketServer> server);

    // Sends the text to the viewer, if there is one. A viewer is dropped when it has failed to take
    // a text more than kMaxSendFailures times; successes in between do not count in its favour.
    void Send(std::string_view text);

private:
    // Declares the port, as soon as it is free, then accepts viewers until the destructor runs.
    std::int32_t Run() override;
    // Returns what Declare returned; kMekFailed when the destructor runs.
    std::int32_t Listen();
    // Lets the client that waits take the place of the one before. Returns what Accept returned.
    std::int32_t AcceptViewer();
    std::unique_lock<MekMutex> Lock();
    void DropClient();
    bool SendAll(std::string_view text);

    MekUnicodeString name_;
    MekMutex mutex_;
    std::atomic<std::int32_t> running_{1};
    std::int32_t sendFailures_ = 0;
    const std::unique_ptr<MekSocketConnector> connector_;
    MekSockets* client_ = nullptr;
    const std::unique_ptr<MekEvent> end_;  // signalled when the destructor runs
    std::string unsent_;                   // the rest of a text that a time-out cut off
};

}  // namespace ZKL
