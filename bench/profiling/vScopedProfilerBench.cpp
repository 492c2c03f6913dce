// What a scope costs the thread that records it, and what it costs while the profiler is off.

#include "ZelREKernel/profiling/vScopedProfiler.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "ZelREKernel/profiling/vProfilerManager.h"
#include "support/AllocationCount.h"

namespace {

using ZKL::vProfiler;
using ZKL::vScopedProfiler;
using ZKL::vTraceRecord;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatch = 4096;

void On(benchmark::State& state) {
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
    const auto directory = std::filesystem::temp_directory_path();
    manager.SetTraceDirectory(directory.string().c_str());
    const std::uint32_t name = vProfiler::RegisterName("scope");
    const auto run = [=] {
        for (std::size_t i = 0; i < kBatch; ++i) {
            const vScopedProfiler scope(name);
            benchmark::ClobberMemory();
        }
    };
    std::size_t allocations = 0;
    manager.TurnOn();
    run();
    manager.FlushProfiler();
    for (auto _ : state) {
        const std::size_t before = bench::AllocationsOfThisThread();
        run();
        allocations += bench::AllocationsOfThisThread() - before;
        state.PauseTiming();
        // Takes what was recorded away; a new file each time, so that it does not grow.
        manager.CloseTrace();
        manager.FlushProfiler();
        state.ResumeTiming();
    }
    ZKL::vProfilerManager::DestroyInstance();
    std::filesystem::remove(directory / "profiling.js");
    state.counters["allocs"] = static_cast<double>(allocations);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

void TwoClockReads(benchmark::State& state) {
    for (auto _ : state) {
        for (std::size_t i = 0; i < kBatch; ++i) {
            benchmark::DoNotOptimize(Clock::now());
            benchmark::DoNotOptimize(Clock::now());
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

// The least that a recorder can do: both times into a buffer of the thread's, with nobody to read
// it.
void ClockAndThreadBuffer(benchmark::State& state) {
    static thread_local std::vector<vTraceRecord> buffer(2 * kBatch);
    for (auto _ : state) {
        vTraceRecord* next = buffer.data();
        for (std::size_t i = 0; i < kBatch; ++i) {
            next->nameId = 1;
            next->phase = 'B';
            next++->timestamp = Clock::now().time_since_epoch().count();
            benchmark::ClobberMemory();
            next->nameId = 1;
            next->phase = 'E';
            next++->timestamp = Clock::now().time_since_epoch().count();
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

void Off(benchmark::State& state) {
    const std::uint32_t name = vProfiler::RegisterName("scope");
    for (auto _ : state) {
        for (std::size_t i = 0; i < kBatch; ++i) {
            const vScopedProfiler scope(name);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

BENCHMARK(On)->Name("scope_on/ours");
BENCHMARK(TwoClockReads)->Name("scope_on/two_clock_reads");
BENCHMARK(ClockAndThreadBuffer)->Name("scope_on/clock_and_thread_buffer");
BENCHMARK(Off)->Name("scope_off/ours");

}  // namespace
