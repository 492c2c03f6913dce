// A small job through a pool of threads and done, in batches of 100,000: queueing, waking and
// running it. Every contender is given the same heap-allocated job. The peers: a queue under a
// mutex and a condition variable, and oneTBB's arena.

#include "ZelREKernel/tasks/vThreadPool.h"

#include <MekHost/system/RudSysJob.h>
#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int kBatch = 100000;

// Counts a batch down; who started it sleeps until the last job is done.
class Batch {
public:
    void Start() { left_ = kBatch; }
    void Done() {
        if (--left_ == 0) {
            left_.notify_one();
        }
    }
    void Wait() {
        for (int left = left_; left != 0; left = left_) {
            left_.wait(left);
        }
    }

private:
    std::atomic<int> left_ = 0;
};

class CountJob final : public RudSysJob {
public:
    explicit CountJob(Batch& batch) : batch_(batch) {}

private:
    std::int32_t Execute() override {
        batch_.Done();
        return 0;
    }

    Batch& batch_;
};

void RunAndRelease(RudSysJob* job) {
    job->CallExecute();
    job->ReleaseReferenceJob();
}

class PlainPool {
public:
    explicit PlainPool(int threads) {
        for (int i = 0; i < threads; ++i) {
            threads_.emplace_back([this] { Loop(); });
        }
    }
    ~PlainPool() {
        {
            const std::lock_guard guard(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    void Add(RudSysJob* job) {
        {
            const std::lock_guard guard(mutex_);
            queue_.push_back(job);
        }
        wake_.notify_one();
    }

private:
    void Loop() {
        for (;;) {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] { return stop_ || !queue_.empty(); });
            if (queue_.empty()) {
                return;
            }
            RudSysJob* const job = queue_.front();
            queue_.pop_front();
            lock.unlock();
            RunAndRelease(job);
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<RudSysJob*> queue_;
    bool stop_ = false;
    std::vector<std::thread> threads_;
};

template <typename Add>
void RunBatches(benchmark::State& state, Add add) {
    Batch batch;
    for (auto _ : state) {
        batch.Start();
        for (int i = 0; i < kBatch; ++i) {
            add(batch);
        }
        batch.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void Ours(benchmark::State& state) {
    ZKL::vThreadPool pool(static_cast<unsigned int>(state.range(0)));
    RunBatches(state, [&](Batch& batch) {
        pool.AddTask(ZKL::vRefPtr<ZKL::TP::vTask>(new ZKL::TP::vTask(new CountJob(batch))));
    });
    pool.Stop();
}
BENCHMARK(Ours)->Name("pool_job/ours")->Arg(1)->Arg(2)->Arg(8)->UseRealTime();

void MutexAndCondition(benchmark::State& state) {
    PlainPool pool(static_cast<int>(state.range(0)));
    RunBatches(state, [&](Batch& batch) { pool.Add(new CountJob(batch)); });
}
BENCHMARK(MutexAndCondition)->Name("pool_job/mutex_condvar")->Arg(1)->Arg(2)->Arg(8)->UseRealTime();

void TbbArena(benchmark::State& state) {
    // No place is kept for the caller, so all of them are for oneTBB's threads.
    tbb::task_arena arena(static_cast<int>(state.range(0)), 0);
    RunBatches(state, [&](Batch& batch) {
        arena.enqueue([job = new CountJob(batch)] { RunAndRelease(job); });
    });
}
BENCHMARK(TbbArena)->Name("pool_job/tbb_enqueue")->Arg(1)->Arg(2)->Arg(8)->UseRealTime();

}  // namespace
