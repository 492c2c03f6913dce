#include "MekHost/process/MekStartProcess.h"

#include <cerrno>
#include <new>

#include "MekHost/MekStatus.h"
#include "common/NativeProcess.h"

std::int32_t MekStartProcess(const char* path, const char* const* arguments, bool wait, int& result,
                             int& error) {
    result = 0;
    if (!path || !arguments) {
        error = EINVAL;
        return kMekInvalidParameter;
    }
    try {
        error = mek::RunProgram(path, arguments, wait, &result);
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    }
    return error == 0 ? kMekOk : kMekFailed;
}
