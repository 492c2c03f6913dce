#include "ZelREKernel/core/vModule.h"

namespace ZKL {

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::int32_t vModule::kOk;
constexpr std::int32_t vModule::kAlreadyInitialized;
constexpr std::int32_t vModule::kPointer;
constexpr std::int32_t vModule::kOutOfMemory;
constexpr std::int32_t vModule::kUnexpected;

vModule::~vModule() = default;

std::int32_t vModule::_Initialize(const ModuleContext& context) {
    using Phase = std::int32_t (vModule::*)();
    static constexpr Phase kPhases[] = {&vModule::_LoadStatic, &vModule::_CreateSingletons,
                                        &vModule::_CreateDefaultResources,
                                        &vModule::_EnableStreamedImplementation};
    flag_ = context.flag;
    for (const Phase phase : kPhases) {
        if (const std::int32_t status = (this->*phase)(); status < 0) {
            return status;
        }
    }
    return kOk;
}

std::int32_t vModule::_Terminate() {
    if (const std::int32_t status = _DestroyDefaultResources(); status < 0) {
        return status;
    }
    const std::int32_t status = _DestroySingletons();
    return status < 0 ? status : kOk;
}

std::int32_t vModule::_OnClean() {
    const std::int32_t status = _Clean();
    return status < 0 ? status : kOk;
}

std::int32_t vModule::_InitializeInstance(StaticData& data, Maker make,
                                          const ModuleContext& context) {
    if (data.initialized) {
        return kAlreadyInitialized;
    }
    if (data.instance) {
        return kPointer;
    }
    data.instance = make();
    if (!data.instance) {
        return kOutOfMemory;
    }
    if (const std::int32_t status = data.instance->_Initialize(context); status < 0) {
        return status;
    }
    data.initialized = true;
    return kOk;
}

std::int32_t vModule::_TerminateInstance(StaticData& data) {
    if (!data.initialized) {
        return kUnexpected;
    }
    if (!data.instance) {
        return kPointer;
    }
    if (const std::int32_t status = data.instance->_Terminate(); status < 0) {
        return status;
    }
    delete data.instance;
    data.instance = nullptr;
    data.initialized = false;
    return kOk;
}

std::int32_t vModule::_CleanInstance(const StaticData& data) {
    if (!data.initialized) {
        return kUnexpected;
    }
    return data.instance ? data.instance->_OnClean() : kPointer;
}

}  // namespace ZKL
