#include "ZelREKernel/tasks/vThreadUtils.h"

#include <MekHost/assertion/MekCheck.h>

#include "tasks/NativeThread.h"

namespace {

constexpr unsigned int kProcessorsPerGroup = 64;

}  // namespace

void vThreadUtils::SetThreadAffinity(unsigned int group, unsigned int cpu) {
    if (cpu < kProcessorsPerGroup) {
        ZKL::SetNativeThreadAffinity(group, cpu);
    }
}

void vThreadUtils::SetThreadName(const char* name) {
    if (!name) {
        Check_Pointer_Failed__("name", __FILE__, __LINE__);
        return;
    }
    ZKL::SetNativeThreadName(name);
}
