#include "ZelREKernel/core/vLifeCycleManager.h"

#include <cstddef>
#include <new>

#include "MekHost/assertion/MekCheck.h"
#include "ZelREKernel/core/vLog.h"
#include "core/FieldOrder.h"

namespace ZKL {

struct vLifeCycleManager::Layout {
    ZKL_FIELD_ORDER_BEGIN
    static_assert(offsetof(vLifeCycleManager, initialized_) == 0);
    static_assert(offsetof(vLifeCycleManager, modules_) == alignof(void*));
    static_assert(offsetof(vLifeCycleManager, modules_) < offsetof(vLifeCycleManager, names_));
    static_assert(offsetof(vLifeCycleManager, names_) <
                  offsetof(vLifeCycleManager, modulesByName_));
    ZKL_FIELD_ORDER_END
};

struct vLifeCycleModule::ManagerAccess {
    // A service that throws has failed like one that says so: the others must not suffer for it.
    static bool Initialize(vLifeCycleModule& module) noexcept {
        try {
            return module.InitializeModule();
        } catch (...) {
            return false;
        }
    }
    static bool Terminate(vLifeCycleModule& module) noexcept {
        try {
            return module.TerminateModule();
        } catch (...) {
            return false;
        }
    }
    // The base need not lie at the start of the service, but its memory begins there. Only the base
    // is destroyed: what the service held, it gave back in Terminate.
    static void Free(vLifeCycleModule* module) {
        void* const memory = dynamic_cast<void*>(module);
        module->~vLifeCycleModule();
        ::operator delete(memory);
    }
};

void vLifeCycleManager::RegisterModule(vLifeCycleModule* module, const std::string& name) {
    if (!module) {
        Check_Pointer_Failed__("module", __FILE__, __LINE__);
        return;
    }
    if (names_.contains(module)) {
        Check_TRUE_Failed__("the module is not registered yet", __FILE__, __LINE__);
        return;
    }
    // All that needs memory is made before anything changes.
    std::list<vLifeCycleModule*> entry{module};
    std::map<vLifeCycleModule*, std::string> named{{module, name}};
    std::map<std::string, vLifeCycleModule*> byName{{name, module}};
    modules_.splice(modules_.end(), entry);
    names_.merge(named);
    modulesByName_.merge(byName);
}

bool vLifeCycleManager::InitializeModules() {
    if (initialized_) {
        return true;
    }
    bool allStarted = true;
    for (vLifeCycleModule* module : modules_) {
        if (module->IsInitialized()) {
            continue;
        }
        const std::string& name = names_[module];
        if (!vLifeCycleModule::ManagerAccess::Initialize(*module)) {
            LogDefault(vLogger::eError, "Error while initializing module %s", name.c_str());
            allStarted = false;
        }
    }
    initialized_ = allStarted;
    return allStarted;
}

bool vLifeCycleManager::TerminateModules() {
    if (!initialized_) {
        return true;
    }
    bool allStopped = true;
    for (auto it = modules_.rbegin(); it != modules_.rend(); ++it) {
        if ((*it)->IsInitialized() && !vLifeCycleModule::ManagerAccess::Terminate(**it)) {
            allStopped = false;
        }
    }
    initialized_ = !allStopped;
    return allStopped;
}

void vLifeCycleManager::Finalize() {
    for (vLifeCycleModule* module : modules_) {
        vLifeCycleModule::ManagerAccess::Free(module);
    }
    modules_.clear();
    names_.clear();
    modulesByName_.clear();
}

}  // namespace ZKL
