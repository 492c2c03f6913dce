#pragma once

// The log channels as plain functions: LogX writes a printf-style message to channel X,
// LogXFlush hands over what a channel that flushes on request has gathered.
//
//     ZKL::LogDefault(ZKL::vLogger::eError, "Cannot load %s", path);
//
// LogX may be called from any thread; for LogXFlush see vLogger::FlushCurrentLog. What goes where
// is told at vLoggerManager::Type; the words of the pipelining channel are these: "pushtab" and
// "poptab" in its format text indent what follows by one tab more or less and are not written
// themselves.

#include "ZelREKernel/core/vLogger.h"

namespace ZKL {

// Each writes a message of `level` to its channel, or drops it: a channel that is off or wants
// higher levels, or no memory. The texts may go when the call returns:
ZELREKERNEL_EXPORT void LogDefault(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogDrawCall(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogProfiling(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogRufx(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogAbendTrace(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogXCTOrrin(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);
ZELREKERNEL_EXPORT void LogPipelining(vLogger::FLogLevel level, const char* format, ...)
    ZKL_PRINTF_FORMAT(2, 3);

// Each hands over what its channel has gathered, if that flushes on request (LogProfiling from the
// start); nothing otherwise:
ZELREKERNEL_EXPORT void LogDefaultFlush();
ZELREKERNEL_EXPORT void LogDrawCallFlush();
ZELREKERNEL_EXPORT void LogProfilingFlush();
ZELREKERNEL_EXPORT void LogRufxFlush();
ZELREKERNEL_EXPORT void LogAbendTraceFlush();
ZELREKERNEL_EXPORT void LogXCTOrrinFlush();
ZELREKERNEL_EXPORT void LogPipeliningFlush();

}  // namespace ZKL
