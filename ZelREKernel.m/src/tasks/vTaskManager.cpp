#include "ZelREKernel/tasks/vTaskManager.h"

#include <MekHost/assertion/MekCheck.h>
#include <oneapi/tbb/task.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iterator>

#include "ZelREKernel/core/vCPUInfos.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vProfilerWithFlow.h"
#include "ZelREKernel/tasks/vThreadPoolManager.h"

namespace {

tbb::task_arena& Arena() {
    return ZKL::vThreadPoolManager::GetTBBThreadPool(0);
}

bool IsSlot(EAsyncTaskID id) {
    if (id < vTaskManager::kSlots) {
        return true;
    }
    Check_TRUE_Failed__("id < vTaskManager::kSlots", __FILE__, __LINE__);
    return false;
}

}  // namespace

constinit vTaskManager* vTaskManager::s_pInstance = nullptr;

struct vTaskManager::Unloader {
    ~Unloader() { DestroyInstance(); }
};

bool vTaskManager::CreateInstance() {
    // The arena is made first, so that at unload it is still there when the slots are waited for.
    Arena();
    static const Unloader s_unloader;
    if (!s_pInstance) {
        s_pInstance = new vTaskManager;
    }
    return true;
}

bool vTaskManager::DestroyInstance() {
    // The work that is waited for may still ask for the instance.
    delete s_pInstance;
    s_pInstance = nullptr;
    return true;
}

vTaskManager* vTaskManager::GetInstance() {
    return s_pInstance;
}

vTaskManager::~vTaskManager() {
    const auto isEngaged = [](const std::optional<Slot>& slot) { return slot.has_value(); };
    // Until none is: work may run more work in another slot.
    for (;;) {
        const auto slot = std::find_if(std::begin(slots_), std::end(slots_), isEngaged);
        if (slot == std::end(slots_)) {
            return;
        }
        try {
            _Join(*slot);
        } catch (const std::exception& error) {
            ZKL::LogDefault(ZKL::vLogger::eError, "vTaskManager : work failed : %s", error.what());
        } catch (...) {
            ZKL::LogDefault(ZKL::vLogger::eError, "vTaskManager : work failed");
        }
    }
}

void vTaskManager::WaitTask(EAsyncTaskID id, unsigned int flowId) {
    static const std::uint32_t s_scopeName = ZKL::vProfiler::RegisterName("WaitTask");
    static const std::uint32_t s_flowName = ZKL::vProfiler::RegisterName("flowName");
    const ZKL::vProfilerWithFlow scope(s_scopeName, s_flowName, flowId);
    if (IsSlot(id)) {
        _Join(slots_[id]);
    }
}

tbb::task_group* vTaskManager::_Engage(EAsyncTaskID id) {
    if (!IsSlot(id)) {
        return nullptr;
    }
    std::optional<Slot>& slot = slots_[id];
    return slot ? &slot->group : &slot.emplace().group;
}

void vTaskManager::_Launch(tbb::task_group& group, tbb::task_handle&& work) {
    // A thread that waits inside a task takes no enqueued work, so from there it is spawned, for
    // the thread itself to find. Elsewhere it is enqueued: that never waits for a place in the
    // arena, and brings a thread even on a machine of one processor.
    if (tbb::task::current_context()) {
        Arena().execute([&] { group.run(std::move(work)); });
    } else {
        Arena().enqueue(std::move(work));
    }
}

void vTaskManager::_Join(std::optional<Slot>& slot) {
    if (!slot) {
        return;
    }
    const struct Emptied {
        std::optional<Slot>& slot;
        ~Emptied() { slot.reset(); }
    } emptied{slot};
    // oneTBB's wait also reads whether the group was cancelled and resets its context.
    Arena().execute([&] { slot->group.wait(); });
}

unsigned int vTaskManager::GetNbCore() {
    return ZKL::GetCPUInfos().cores;
}

unsigned int vTaskManager::GetNbLogicalCore() {
    return ZKL::GetCPUInfos().logicalProcessors;
}

unsigned int vTaskManager::GetThreadPoolSize() {
    return GetNbLogicalCore();
}
