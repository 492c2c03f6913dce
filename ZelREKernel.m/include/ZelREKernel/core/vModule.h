#pragma once

// The base of a library module: the object that brings one library of the engine up and down in a
// fixed order of phases.
//
// Each library derives its module, keeps one StaticData record for it and offers Initialize,
// Terminate, Clean and IsInitialized as static functions (vKernelModule is the model); the three
// _...Instance helpers do their work. A negative status means failure.
//
// Nothing here locks: a host calls these from its main thread, at start-up and shut-down.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vModule {
public:
    // What the host hands to every module.
    struct ModuleContext {
        std::uint8_t flag = 0;  // kept by the module, of no meaning to the kernel
    };

    // The state of one module class.
    struct StaticData {
        vModule* instance = nullptr;  // owned; null unless the module is up or broken
        bool initialized = false;     // between a successful Initialize and a successful Terminate
    };

    static constexpr std::int32_t kOk = 0;  // done
    // A success by its sign, so that a caller who only looks for failures may initialise twice.
    static constexpr std::int32_t kAlreadyInitialized = 1247;
    // An earlier start failed; for good.
    static constexpr std::int32_t kPointer = static_cast<std::int32_t>(0x80004003);
    // No memory for the module; it is as it was.
    static constexpr std::int32_t kOutOfMemory = static_cast<std::int32_t>(0x8007000E);
    // The module is not up.
    static constexpr std::int32_t kUnexpected = static_cast<std::int32_t>(0x8000FFFF);

    vModule(const vModule&) = delete;
    vModule& operator=(const vModule&) = delete;

protected:
    // Makes the module object with `new`; null when there is no memory for it.
    using Maker = vModule* (*)();

    vModule() = default;
    virtual ~vModule();

    // The phases. Each returns 0, or a negative status that ends the run of phases there; what the
    // phases before have done is not undone:
    virtual std::int32_t _LoadStatic() = 0;
    virtual std::int32_t _CreateSingletons() = 0;
    virtual std::int32_t _DestroySingletons() = 0;
    virtual std::int32_t _CreateDefaultResources() = 0;
    virtual std::int32_t _DestroyDefaultResources() = 0;
    virtual std::int32_t _EnableStreamedImplementation() = 0;
    virtual std::int32_t _Clean() = 0;

    // Stores the context's flag, then runs _LoadStatic, _CreateSingletons, _CreateDefaultResources
    // and _EnableStreamedImplementation up to the first negative status, which it returns; else 0.
    std::int32_t _Initialize(const ModuleContext& context);
    // Runs _DestroyDefaultResources, then _DestroySingletons, likewise.
    std::int32_t _Terminate();
    // Runs _Clean; returns its status when negative, else 0.
    std::int32_t _OnClean();

    // Makes the module and initialises it. Returns 0, kAlreadyInitialized, kOutOfMemory, the failed
    // phase's status, or kPointer for a module that failed before: that one is not tried again.
    static std::int32_t _InitializeInstance(StaticData& data, Maker make,
                                            const ModuleContext& context);
    // Terminates the module and frees it. Returns 0, kUnexpected when it is not up, kPointer when
    // its object is missing, or the failed phase's status: then the module stays up.
    static std::int32_t _TerminateInstance(StaticData& data);
    // Cleans a module that is up and changes no state. Returns as _TerminateInstance.
    static std::int32_t _CleanInstance(const StaticData& data);

private:
    std::uint8_t flag_ = 0;
};

static_assert(sizeof(vModule) == 2 * sizeof(void*));

}  // namespace ZKL
