#include <cstdio>
#include <new>
#include <string_view>
#include <system_error>

#include "MekHost/assertion/MekCheck.h"
#include "ZelREKernel/core/vLoggerOutput.h"
#include "core/AbendLoggerOutput.h"
#include "core/NetworkLoggerOutput.h"
#include "core/StreamLoggerOutput.h"

namespace ZKL {
namespace {

vLoggerOutput* MakeFileOutput(const char* path) {
    StreamLoggerOutput* const file = new StreamLoggerOutput(std::string(path));
    if (file->IsOpen()) {
        return file;
    }
    file->Release();
    return new StreamLoggerOutput(stdout);
}

vLoggerOutput* MakeOutput(std::string_view name) {
    if (name == "stdout") {
        return new StreamLoggerOutput(stdout);
    }
    if (name == "stderr") {
        return new StreamLoggerOutput(stderr);
    }
    if (name == "network") {
        return new NetworkLoggerOutput;
    }
    if (name == "abendTrace") {
        return new AbendLoggerOutput;
    }
    return MakeFileOutput(name.data());
}

}  // namespace

vLoggerOutput* vLoggerOutput::Create(const char* name) {
    if (!name) {
        Check_Pointer_Failed__("name", __FILE__, __LINE__);
        return nullptr;
    }
    try {
        return MakeOutput(name);
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::system_error&) {
        return nullptr;  // no resources for a lock
    }
}

}  // namespace ZKL
