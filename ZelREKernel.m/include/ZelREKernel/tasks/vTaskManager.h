#pragma once

// Asynchronous engine work in six slots: Run puts work into a slot and returns, WaitTask waits for
// everything in the slot and empties it. The work runs in vThreadPoolManager's arena, so that it
// shares the processor with the data-parallel loops instead of competing with them.
//
// One slot is for one thread at a time, different slots may be used from different threads at once;
// work may also Run more into its own slot. Inside the work, wait only for slots filled there.
// CreateInstance and DestroyInstance are for start-up and shut-down, beside no other call.

#include <oneapi/tbb/task_group.h>

#include <optional>
#include <utility>

#include "ZelREKernel/ZelREKernelExport.h"

// The slots; the engine gives each its use.
enum EAsyncTaskID : unsigned int {
    eAsyncTask0,
    eAsyncTask1,
    eAsyncTask2,
    eAsyncTask3,
    eAsyncTask4,
    eAsyncTask5,
};

class ZELREKERNEL_EXPORT vTaskManager {
public:
    static constexpr unsigned int kSlots = 6;  // eAsyncTask0 to eAsyncTask5

    // Makes the instance with its slots empty; true also when it is there already. It belongs to
    // this library, which destroys it when it is unloaded.
    static bool CreateInstance();
    // Waits for the work in every slot, then destroys the instance. An exception that the work
    // threw is logged on the default channel. True also when there is no instance.
    static bool DestroyInstance();
    // Null before CreateInstance and after DestroyInstance.
    static vTaskManager* GetInstance();

    vTaskManager(const vTaskManager&) = delete;
    vTaskManager& operator=(const vTaskManager&) = delete;

    // Copies or moves `work`, which is called once as `work()` on a const object, into slot `id` to
    // be run soon, whether or not anybody waits. Returns false, without running it, for an id that
    // is no slot, which goes to the assertion sink. Throws std::bad_alloc.
    template <typename Work>
    bool Run(EAsyncTaskID id, Work&& work) {
        tbb::task_group* const group = _Engage(id);
        if (!group) {
            return false;
        }
        _Launch(*group, group->defer(std::forward<Work>(work)));
        return true;
    }

    // Waits until all work in slot `id` is done, helping with it, and empties the slot; returns at
    // once when it is empty. The wait shows in the profile as the scope "WaitTask", joined to flow
    // `flowId`. When work threw, the rest of the slot's work that had not begun is skipped, and one
    // of the exceptions is thrown again here. An id that is no slot goes to the assertion sink.
    void WaitTask(EAsyncTaskID id, unsigned int flowId);

    // Counts of GetCPUInfos, 0 without a survey: physical cores, logical processors, and logical
    // processors again:
    static unsigned int GetNbCore();
    static unsigned int GetNbLogicalCore();
    static unsigned int GetThreadPoolSize();

private:
    // Its context is bound to nobody's: work filled in by a task may outlive that task.
    struct Slot {
        Slot()
            : context(tbb::task_group_context::isolated,
                      tbb::task_group_context::default_traits |
                          tbb::task_group_context::concurrent_wait),
              group(context) {}

        tbb::task_group_context context;
        tbb::task_group group;
    };
    struct Unloader;

    vTaskManager() = default;
    ~vTaskManager();

    tbb::task_group* _Engage(EAsyncTaskID id);
    static void _Launch(tbb::task_group& group, tbb::task_handle&& work);
    static void _Join(std::optional<Slot>& slot);

    std::optional<Slot> slots_[kSlots];

    static vTaskManager* s_pInstance;
};
