#pragma once

// Owner of the process's seven log channels. The one instance is built when the library is loaded,
// before any other static object of the library, and destroyed when it is unloaded; text still
// queued for the background flusher is written then. Threads may log on while the process ends:
// from then on the channels are disabled and without an output.
//
// Every function may be called from any thread.

#include <array>
#include <cstdint>

#include "ZelREKernel/core/vLogger.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vLoggerManager {
public:
    // The channels, and how each starts.
    enum Type : std::int32_t {
        eDefault = 0,     // to "stdout", level from "ZKLDefaultLogLevel"
        eDrawCall = 1,    // off and without an output until it is given one
        eProfiling = 2,   // the same; plain text, flushed on request
        eRufx = 3,        // to "stdout"
        eAbendTrace = 4,  // to the crash report; plain text, never through the flusher
        eXCTOrrin = 5,    // to "stdout"
        ePipelining = 6   // to "stdout", plain text with indentation; on if "LOG_PIPELINING" is set
    };

    // The one instance, there while the library is loaded.
    static vLoggerManager& GetInstance();

    vLoggerManager(const vLoggerManager&) = delete;
    vLoggerManager& operator=(const vLoggerManager&) = delete;

    // The channel's logger, owned by the manager. A number that is no channel gets a complaint on
    // the standard error stream and the default channel.
    vLogger& GetLogger(Type type);

private:
    static constexpr std::size_t kChannels = 7;
    struct Channels;

    vLoggerManager();
    ~vLoggerManager();

    static vLoggerManager s_manager;

    std::array<vLogger*, kChannels> loggers_ = {};
};

}  // namespace ZKL
