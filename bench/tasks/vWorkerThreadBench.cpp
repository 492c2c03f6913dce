// One job to a worker and back: the latency of a hand-over in both directions.

#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "ZelREKernel/tasks/vSynchroNode.h"
#include "ZelREKernel/tasks/vTaskNode.h"
#include "ZelREKernel/tasks/vWorkerThread.h"

namespace {

using ZKL::vSynchroNode;
using ZKL::vTaskNode;
using ZKL::vWorkerThread;
using ZKL::vTaskDetail::vPooledTask;

struct Ours {
    vWorkerThread worker;

    explicit Ours(bool pool = false) { pool ? worker.RunPool(1) : worker.RunSingle(); }
    void RoundTrip() {
        vTaskNode::NodeHandle node = vTaskNode::CreateNode(&worker);
        node->AddTask(vPooledTask::Create([] {}));
        vSynchroNode done(node.Get());
        node.Reset();
        done.Wait();
    }
};

struct OursPool : Ours {
    OursPool() : Ours(true) {}
};

// What one writes without a library: a function handed over under a mutex, and the word back.
struct MutexAndCondition {
    std::mutex mutex;
    std::condition_variable posted;
    std::condition_variable finished;
    std::function<void()> job;
    bool stop = false;
    std::thread thread{[this] { Loop(); }};

    ~MutexAndCondition() {
        {
            const std::lock_guard guard(mutex);
            stop = true;
        }
        posted.notify_one();
        thread.join();
    }
    void Loop() {
        std::unique_lock lock(mutex);
        for (;;) {
            posted.wait(lock, [this] { return stop || job; });
            if (stop) {
                return;
            }
            job();
            job = nullptr;
            finished.notify_one();
        }
    }
    void RoundTrip() {
        std::unique_lock lock(mutex);
        job = [] {};
        posted.notify_one();
        finished.wait(lock, [this] { return !job; });
    }
};

// Round trips one after the other: the worker is still awake from the last one.
template <typename Worker>
void BM_Hot(benchmark::State& state) {
    Worker worker;
    for (auto _ : state) {
        worker.RoundTrip();
    }
}

// The worker had time to fall asleep.
template <typename Worker>
void BM_Idle(benchmark::State& state) {
    Worker worker;
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        const auto start = std::chrono::steady_clock::now();
        worker.RoundTrip();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

BENCHMARK(BM_Hot<Ours>)->Name("job_hot/ours")->UseRealTime();
BENCHMARK(BM_Hot<OursPool>)->Name("job_hot/ours_pool")->UseRealTime();
BENCHMARK(BM_Hot<MutexAndCondition>)->Name("job_hot/mutex_condition")->UseRealTime();
BENCHMARK(BM_Idle<Ours>)->Name("job_idle/ours")->UseManualTime();
BENCHMARK(BM_Idle<OursPool>)->Name("job_idle/ours_pool")->UseManualTime();
BENCHMARK(BM_Idle<MutexAndCondition>)->Name("job_idle/mutex_condition")->UseManualTime();

}  // namespace
