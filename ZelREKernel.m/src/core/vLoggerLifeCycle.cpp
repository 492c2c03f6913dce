#include "ZelREKernel/core/vLoggerLifeCycle.h"

#include "core/LogFlusher.h"

namespace ZKL {

bool vLoggerLifeCycle::Initialize() {
    LogFlusher::Start();
    return true;
}

bool vLoggerLifeCycle::Terminate() {
    LogFlusher::Stop();
    return true;
}

}  // namespace ZKL
