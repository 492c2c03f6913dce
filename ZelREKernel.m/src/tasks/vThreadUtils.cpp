#include "ZelREKernel/tasks/vThreadUtils.h"

#include <MekHost/assertion/MekCheck.h>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "tasks/NativeThread.h"

namespace {

constexpr unsigned int kProcessorsPerGroup = 64;

}  // namespace

void vThreadUtils::SetThreadAffinity(unsigned int group, unsigned int cpu) {
    if (cpu < kProcessorsPerGroup && !ZKL::SetNativeThreadAffinity(group, cpu)) {
        ZKL::LogDefault(ZKL::vLogger::eError, "Fail to set Affinity");
    }
}

void vThreadUtils::SetThreadName(const char* name) {
    if (!name) {
        Check_Pointer_Failed__("name", __FILE__, __LINE__);
        return;
    }
    ZKL::vProfiler::RecordMetaData(ZKL::vProfiler::eThreadName, name, 0);
    ZKL::SetNativeThreadName(name);
}
