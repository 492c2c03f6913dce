#include "ZelREKernel/core/vLog.h"

#include "ZelREKernel/core/vLoggerManager.h"

namespace ZKL {
namespace {

vLogger& GetChannel(vLoggerManager::Type type) {
    return vLoggerManager::GetInstance().GetLogger(type);
}

}  // namespace

// A variadic function cannot pass its arguments on to another but as a va_list; so each channel's
// pair is written out by the preprocessor.
#define ZKL_DEFINE_CHANNEL(X)                                           \
    void Log##X(vLogger::FLogLevel level, const char* format, ...) {    \
        std::va_list arguments;                                         \
        va_start(arguments, format);                                    \
        GetChannel(vLoggerManager::e##X).Log(level, format, arguments); \
        va_end(arguments);                                              \
    }                                                                   \
    void Log##X##Flush() {                                              \
        GetChannel(vLoggerManager::e##X).FlushCurrentLog();             \
    }

ZKL_DEFINE_CHANNEL(Default)
ZKL_DEFINE_CHANNEL(DrawCall)
ZKL_DEFINE_CHANNEL(Profiling)
ZKL_DEFINE_CHANNEL(Rufx)
ZKL_DEFINE_CHANNEL(AbendTrace)
ZKL_DEFINE_CHANNEL(XCTOrrin)
ZKL_DEFINE_CHANNEL(Pipelining)

#undef ZKL_DEFINE_CHANNEL

}  // namespace ZKL
