#include "MekHost/process/MekStartProcess.h"

#include <cerrno>

#include "MekHost/MekStatus.h"
#include "common/NativeProcess.h"

std::int32_t MekStartProcess(const char* path, const char* const* arguments, bool wait, int& result,
                             int& error) {
    result = 0;
    if (!path || !arguments) {
        error = EINVAL;
        return kMekInvalidParameter;
    }
    error = mek::RunProgram(path, arguments, wait, &result);
    return error == 0 ? kMekOk : kMekFailed;
}
