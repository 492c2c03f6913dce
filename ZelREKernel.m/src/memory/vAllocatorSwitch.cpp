#include "ZelREKernel/memory/vAllocatorSwitch.h"

#include <MekHost/MekStatus.h>
#include <MekHost/process/MekEnvironment.h>

#include <atomic>
#include <string>

#include "ZelREKernel/base/vMainThread.h"

namespace ZKL {
namespace {

// Relaxed throughout: the flag publishes nothing but itself.
constinit std::atomic<bool> customAllocatorDisabled{false};

}  // namespace

void InitAllocator() {
    static_cast<void>(IsMainThread());  // the first to ask is the main thread from now on
    std::string value;
    if (MekGetEnv("ADL_ODT_EXECTOOL", &value) == kMekOk &&
        (value == "MemoryCheck" || value == "RuVerifier")) {
        customAllocatorDisabled.store(true, std::memory_order_relaxed);
    }
    if (MekGetEnv("ZelDisableAllocators", &value) == kMekOk) {
        customAllocatorDisabled.store(!value.starts_with('0'), std::memory_order_relaxed);
    }
}

bool IsCustomAllocatorDisabled() noexcept {
    return customAllocatorDisabled.load(std::memory_order_relaxed);
}

}  // namespace ZKL
