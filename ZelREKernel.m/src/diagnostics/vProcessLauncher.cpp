#include "ZelREKernel/diagnostics/vProcessLauncher.h"

#include <cerrno>
#include <new>

#include "MekHost/assertion/MekCheck.h"
#include "MekHost/process/MekStartProcess.h"

vProcessLauncher::vProcessLauncher(const char* path, bool wait) : wait_(wait) {
    if (!path) {
        Check_Pointer_Failed__("path", __FILE__, __LINE__);
        return;
    }
    arguments_.emplace_back(path);
}

vProcessLauncher::vProcessLauncher(const vProcessLauncher&) = default;
vProcessLauncher::vProcessLauncher(vProcessLauncher&&) noexcept = default;
vProcessLauncher::~vProcessLauncher() = default;
vProcessLauncher& vProcessLauncher::operator=(const vProcessLauncher&) = default;
vProcessLauncher& vProcessLauncher::operator=(vProcessLauncher&&) noexcept = default;

void vProcessLauncher::PushArg(const char* argument) {
    if (!argument) {
        Check_Pointer_Failed__("argument", __FILE__, __LINE__);
        return;
    }
    // The first argument is the path; where there is none, another must not take its place.
    if (!arguments_.empty()) {
        arguments_.emplace_back(argument);
    }
}

void vProcessLauncher::PushArg(char* argument) {
    PushArg(static_cast<const char*>(argument));
}

void vProcessLauncher::PushArg(const std::string& argument) {
    PushArg(argument.c_str());
}

vProcessLauncher::EError vProcessLauncher::Launch(int& result) const {
    int error = 0;
    Launch(result, error);
    return ConvertError(error);
}

void vProcessLauncher::Launch(int& result, int& error) const {
    std::vector<const char*> arguments;
    try {
        arguments.reserve(arguments_.size() + 1);
    } catch (const std::bad_alloc&) {
        result = 0;
        error = ENOMEM;
        return;
    }
    for (const std::string& argument : arguments_) {
        arguments.push_back(argument.c_str());
    }
    arguments.push_back(nullptr);
    MekStartProcess(arguments.front(), arguments.data(), wait_, result, error);
}

vProcessLauncher::EError vProcessLauncher::ConvertError(int number) {
    switch (number) {
        case E2BIG:
            return eArgumentListIsTooBig;
        case EINVAL:
            return eWrongMode;
        case ENOENT:
            return eEXENotFound;
        case ENOEXEC:
            return eNotExecutable;
        case ENOMEM:
            return eNotEnoughMemory;
        default:
            return eSuccess;
    }
}

std::string ZKL::to_string(vProcessLauncher::EError error) {
    switch (error) {
        case vProcessLauncher::eArgumentListIsTooBig:
            return "ArgumentListIsTooBig";
        case vProcessLauncher::eWrongMode:
            return "WrongMode";
        case vProcessLauncher::eEXENotFound:
            return "EXENotFound";
        case vProcessLauncher::eNotExecutable:
            return "NotExecutable";
        case vProcessLauncher::eNotEnoughMemory:
            return "NotEnoughMemory";
        case vProcessLauncher::eSuccess:
            return "Success";
        default:
            return "ERROR";
    }
}
