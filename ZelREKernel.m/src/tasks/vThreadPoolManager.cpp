#include "ZelREKernel/tasks/vThreadPoolManager.h"

#include <MekHost/system/MekSignalStack.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_scheduler_observer.h>
#include <oneapi/tbb/version.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include "PerThread.h"
#include "ZelREKernel/core/vCPUInfos.h"
#include "base/LibraryEnd.h"
#include "base/NativeLibrary.h"

namespace ZKL {
namespace {

constexpr unsigned int kReservedSlots = 1;
constexpr std::chrono::milliseconds kReturnFromTask{10};

int MaximumConcurrency() {
    const auto cores = static_cast<int>(GetCPUInfos().cores);
    return cores > 0 ? cores : tbb::task_arena::automatic;
}

// Gives oneTBB's own threads, while they are in the arena, a stack for the handler of a fatal
// fault.
class SignalStacks : public tbb::task_scheduler_observer {
public:
    explicit SignalStacks(tbb::task_arena& arena) : task_scheduler_observer(arena) {
        observe(true);
    }
    ~SignalStacks() override { observe(false); }

    void on_scheduler_entry(bool isWorker) override {
        if (isWorker) {
            Stack::Set(new (std::nothrow) MekSignalStack);
        }
    }
    void on_scheduler_exit(bool isWorker) override {
        if (isWorker) {
            delete Stack::Get();
            Stack::Set(nullptr);
        }
    }

private:
    using Stack = PerThread<struct StackTag, MekSignalStack*>;
};

struct Scheduling {
    tbb::task_scheduler_handle scheduler{tbb::attach{}};
    tbb::task_arena arena{MaximumConcurrency(), kReservedSlots, tbb::task_arena::priority::normal};
    SignalStacks stacks{arena};
};

class Arena {
public:
    // A thread that ever entered an arena runs a clean-up of oneTBB's when it ends, which may be
    // after this library, and with it the last user of oneTBB, is unloaded. The text stands in
    // oneTBB; a function's address may be that of a jump in this library.
    Arena() { KeepLibraryLoaded(TBB_runtime_version()); }
    // oneTBB's own threads leave an arena when they get to it. Waiting for them keeps them from
    // returning through code that is no longer there.
    ~Arena() {
        if (AreThreadsGone()) {
            return;  // a lock that one of them held is held for ever
        }
        scheduling_->arena.terminate();
        if (!CanThreadsEndMeanwhile() || !tbb::finalize(scheduling_->scheduler, std::nothrow)) {
            // Another thread of the host still counts as one of oneTBB's, and then nothing tells
            // when a worker has returned from its last task, which takes it a few instructions of
            // this library's. Time enough for that is all that can be given.
            std::this_thread::sleep_for(kReturnFromTask);
        }
        delete scheduling_;
    }

    tbb::task_arena& Get() {
        // An arena that has been started again loses its observer when the last thread has left
        // what it was before; until then that one tells of their leaving.
        if (scheduling_->arena.is_active() && !scheduling_->stacks.is_observing() &&
            !isSetting_.exchange(true)) {
            if (!scheduling_->stacks.is_observing()) {
                scheduling_->stacks.observe(true);
            }
            isSetting_ = false;
        }
        return scheduling_->arena;
    }

private:
    Scheduling* const scheduling_ = new Scheduling;
    std::atomic<bool> isSetting_ = false;  // the observer, one thread at a time
};

Arena& TheArena() {
    static Arena s_arena;
    return s_arena;
}

}  // namespace

tbb::task_arena& vThreadPoolManager::GetTBBThreadPool(unsigned int) {
    return TheArena().Get();
}

void vThreadPoolManager::DestroyThreadPool() {
    TheArena().Get().terminate();
}

}  // namespace ZKL
