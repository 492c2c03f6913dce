#pragma once

// The services of this program, started in order and stopped in reverse by the kernel's life cycle
// manager. The manager frees them without running destructors, so each gives back in Terminate all
// that it took in Initialize and holds nothing but plain values.

#include <cstdint>

#include "Options.h"
#include "ZelREKernel/core/vLifeCycleModule.h"

namespace ZKL {
class vWorkerThread;
}

namespace frame {

// Directs the log channels: the default one where --log says, the profiling channel to stages.log
// and the pipelining channel to graph.log in the output folder.
class LogService final : public ZKL::vLifeCycleModule {
public:
    // `options` outlives the service; so in the others.
    explicit LogService(const Options& options) : options_(options) {}
    bool Initialize() override;
    bool Terminate() override;

private:
    const Options& options_;
};

// Records the run and leaves it as profiling.js in the output folder.
class ProfilerService final : public ZKL::vLifeCycleModule {
public:
    explicit ProfilerService(const Options& options) : options_(options) {}
    bool Initialize() override;
    bool Terminate() override;

private:
    const Options& options_;
};

// The task manager, for what runs beside the frames.
class TaskService final : public ZKL::vLifeCycleModule {
public:
    bool Initialize() override;
    bool Terminate() override;
};

// The threads of the task graph: a pool that renders and one thread that presents.
class WorkerService final : public ZKL::vLifeCycleModule {
public:
    // `workers` 0: one per core of the processor that the process may use.
    explicit WorkerService(std::uint32_t workers) : workers_(workers) {}
    bool Initialize() override;
    bool Terminate() override;

    std::uint32_t WorkerCount() const { return workers_; }
    // Between Initialize and Terminate.
    ZKL::vWorkerThread& Pool() { return *pool_; }
    ZKL::vWorkerThread& Presenter() { return *presenter_; }

private:
    std::uint32_t workers_;
    ZKL::vWorkerThread* pool_ = nullptr;
    ZKL::vWorkerThread* presenter_ = nullptr;
};

}  // namespace frame
