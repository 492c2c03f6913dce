#pragma once

// The kernel's own library module, the first that an application starts. Its load phase sets the
// origin of the process-wide timer; the kernel's singletons make themselves on first use.
//
// For the main thread, at start-up and shut-down.

#include <cstdint>

#include "ZelREKernel/core/vModule.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vKernelModule : public vModule {
public:
    // Returns 0, 1247 when the module is up already (nothing happens), 0x80004003 when an earlier
    // call failed, or 0x8007000E.
    static std::int32_t Initialize(const ModuleContext& context);
    // Returns 0, or 0x8000FFFF when the module is not up.
    static std::int32_t Terminate();
    // Returns as Terminate and leaves the module up.
    static std::int32_t Clean();
    // Whether it is up: between a successful Initialize and a successful Terminate.
    static bool IsInitialized();

protected:
    // The phases; _LoadStatic sets the timer's origin, the others do nothing. All return 0:
    std::int32_t _LoadStatic() override;
    std::int32_t _CreateSingletons() override;
    std::int32_t _DestroySingletons() override;
    std::int32_t _CreateDefaultResources() override;
    std::int32_t _DestroyDefaultResources() override;
    std::int32_t _EnableStreamedImplementation() override;
    std::int32_t _Clean() override;

private:
    static StaticData& _GetStaticData();

    static StaticData s_Data;
};

}  // namespace ZKL
