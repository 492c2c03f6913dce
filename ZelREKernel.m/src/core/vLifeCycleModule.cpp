#include "ZelREKernel/core/vLifeCycleModule.h"

namespace ZKL {

bool vLifeCycleModule::Initialize() {
    return false;
}

bool vLifeCycleModule::Terminate() {
    return false;
}

bool vLifeCycleModule::InitializeModule() {
    if (Initialize()) {
        initialized_ = true;
    }
    return initialized_;
}

bool vLifeCycleModule::TerminateModule() {
    if (Terminate()) {
        initialized_ = false;
    }
    return !initialized_;
}

}  // namespace ZKL
