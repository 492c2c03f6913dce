#include "ZelREKernel/core/vKernelModule.h"

#include <new>

#include "ZelREKernel/base/vTimer.h"

namespace ZKL {

vModule::StaticData vKernelModule::s_Data;

std::int32_t vKernelModule::Initialize(const ModuleContext& context) {
    const Maker make = []() -> vModule* { return new (std::nothrow) vKernelModule; };
    return _InitializeInstance(_GetStaticData(), make, context);
}

std::int32_t vKernelModule::Terminate() {
    return _TerminateInstance(_GetStaticData());
}

std::int32_t vKernelModule::Clean() {
    return _CleanInstance(_GetStaticData());
}

bool vKernelModule::IsInitialized() {
    return _GetStaticData().initialized;
}

std::int32_t vKernelModule::_LoadStatic() {
    InitTimer();
    return kOk;
}

std::int32_t vKernelModule::_CreateSingletons() {
    return kOk;
}

std::int32_t vKernelModule::_DestroySingletons() {
    return kOk;
}

std::int32_t vKernelModule::_CreateDefaultResources() {
    return kOk;
}

std::int32_t vKernelModule::_DestroyDefaultResources() {
    return kOk;
}

std::int32_t vKernelModule::_EnableStreamedImplementation() {
    return kOk;
}

std::int32_t vKernelModule::_Clean() {
    return kOk;
}

vModule::StaticData& vKernelModule::_GetStaticData() {
    return s_Data;
}

}  // namespace ZKL
