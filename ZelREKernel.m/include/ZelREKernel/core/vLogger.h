#pragma once

// One log channel: filters messages by level, formats them and hands the text to an output, at
// once, on request, or through the background flusher (vLoggerLifeCycle).
//
// Log, the switches, the level and SetOutput may be called from any thread. FlushCurrentLog takes
// no lock: nobody may log to the same logger, flush it or call its SetOutput meanwhile. A message
// for which there is no memory is dropped.

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

#include "ZelREKernel/base/vPrintfFormat.h"
#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/core/vLoggerOutput.h"

namespace ZKL {

class LastLines;

class ZELREKERNEL_EXPORT vLogger {
public:
    // A message passes when its level is at least the logger's, so warnings rank below information.
    enum FLogLevel : std::int32_t {
        eDebug = 0,
        eWarning = 1,
        eProfiling = 2,
        eInfo = 3,
        eError = 4,
        eRelease = 5
    };

    // When text goes to the output.
    enum FLogMode : std::int32_t {
        eFlushEachMessage = 1,  // with every message
        eFlushOnRequest = 4     // FlushCurrentLog does something
    };

    // "DEBUG" to "RELEASE"; null for any other value.
    static const char* ConvertLogLevelToString(FLogLevel level);

    // Takes over the caller's reference on `output`, which may be null: then text is kept until
    // SetOutput gives an output. `async`: flush through the background flusher while it runs. The
    // logger starts disabled and decorated.
    vLogger(vLoggerOutput* output, FLogMode mode, FLogLevel level, bool async);
    vLogger(const vLogger&) = delete;
    vLogger& operator=(const vLogger&) = delete;

    // Logs a printf-style message. A decorated line is "[<level>]\t : <message>\n".
    virtual void Log(FLogLevel level, const char* format, std::va_list arguments)
        ZKL_PRINTF_FORMAT(3, 0);
    // Drops its output; text not flushed is lost.
    virtual ~vLogger();

    // The switch and the level, for the messages that begin after the call; any thread:
    void BeginLog() { enabled_.store(true, std::memory_order_relaxed); }
    void EndLog() { enabled_.store(false, std::memory_order_relaxed); }
    void SetLevel(FLogLevel level) { level_.store(level, std::memory_order_relaxed); }
    // Drops the output, then makes the one that `name` stands for (vLoggerOutput::Create). A null
    // name is reported as the caller's mistake and changes nothing.
    void SetOutput(const char* name);
    // Hands the text gathered so far to the output; only in mode eFlushOnRequest. Beside no other
    // thread's Log, flush or SetOutput of this logger.
    void FlushCurrentLog();

    // The switches as they are now. They stand alone, no other data is published with them: relaxed
    // order will do:
    bool IsEnabled() const { return enabled_.load(std::memory_order_relaxed); }
    FLogLevel GetLevel() const { return level_.load(std::memory_order_relaxed); }
    // The name given to SetOutput last.
    std::string GetOutputName() const;

protected:
    // Log as this class has it: filters, formats, takes the lock and flushes.
    void InternalLog(FLogLevel level, const char* format, std::va_list arguments)
        ZKL_PRINTF_FORMAT(3, 0);

private:
    friend class vLoggerManager;
    struct Layout;

    void InternalFlushCurrentLog();
    // Appends one message to the buffer. `formatted` has its length, and its text unless that is
    // too long to be formatted in advance. False, with the buffer as it was, when memory is
    // exhausted.
    bool AppendMessage(FLogLevel level, std::string_view formatted, const char* format,
                       std::va_list arguments) ZKL_PRINTF_FORMAT(4, 0);

    std::atomic<bool> enabled_{false};
    bool decorated_ = true;
    std::string outputName_;
    FLogMode mode_;
    std::atomic<FLogLevel> level_;
    vLoggerOutput* output_;
    std::string buffer_;
    mutable vSlimLock lock_;
    bool async_;
    LastLines* lastLines_ = nullptr;  // a channel's, for the crash report; other loggers have none
};

}  // namespace ZKL
