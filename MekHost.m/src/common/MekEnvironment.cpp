#include "MekHost/process/MekEnvironment.h"

#include <cstring>
#include <mutex>

#include "MekHost/MekStatus.h"
#include "common/EnvironmentLock.h"
#include "common/NativeEnvironment.h"

namespace {

bool IsName(const char* name) {
    return name && *name && !std::strchr(name, '=');
}

}  // namespace

std::int32_t MekGetEnv(const char* name, std::string* value) {
    if (!IsName(name) || !value) {
        return kMekInvalidParameter;
    }
    const std::lock_guard guard(mek::environmentLock);
    return mek::GetVariable(name, value) ? kMekOk : kMekNotFound;
}

std::int32_t MekPutEnv(const char* assignment) {
    const char* const equals = assignment ? std::strchr(assignment, '=') : nullptr;
    if (!equals || equals == assignment) {
        return kMekInvalidParameter;
    }
    const std::string name(assignment, equals);
    const std::lock_guard guard(mek::environmentLock);
    return mek::SetVariable(name, equals + 1) ? kMekOk : kMekOutOfMemory;
}

std::int32_t MekRemoveEnv(const char* name) {
    if (!IsName(name)) {
        return kMekInvalidParameter;
    }
    const std::lock_guard guard(mek::environmentLock);
    mek::RemoveVariable(name);
    return kMekOk;
}
