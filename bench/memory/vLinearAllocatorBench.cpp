// The arenas beside a raw pointer that moves on and the standard library's arena: allocations of
// one size, alignment 16, and all given back at once every 8192 of them.

#include "ZelREKernel/memory/vLinearAllocator.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <memory_resource>

#include "ZelREKernel/memory/vFrameAllocator.h"

namespace {

constexpr int kPerFrame = 8192;
constexpr std::uint32_t kAlignment = 16;
constexpr std::uint32_t kMostBytes = kPerFrame * 256 + 4096;  // within one page of 4 MiB

struct Linear {
    Linear() {
        arena.SetBackendAllocator(*ZKL::DefaultPageAllocator(), 1, 0);
        arena.Alloc(1, 1);
        arena.GetRewindPoint(start);
    }
    void* Alloc(std::uint32_t size) { return arena.Alloc(size, kAlignment); }
    void EndFrame() {
        arena.Rewind(start);
        arena.GetRewindPoint(start);
    }
    ZKL::vLinearAllocator arena;
    ZKL::vRewindPoint start;
};

struct Frame {
    void* Alloc(std::uint32_t size) { return arena.Alloc(size, kAlignment); }
    void EndFrame() { arena.Reset(); }
    ZKL::vFrameAllocator arena;
};

// Through the interface, for code that does not know which allocator it has.
struct FrameAsAllocator : Frame {
    FrameAsAllocator() { benchmark::DoNotOptimize(allocator); }
    void* Alloc(std::uint32_t size) { return allocator->Allocate(size, kAlignment); }
    ZKL::vAllocator* allocator = &arena;
};

struct RawPointer {
    void* Alloc(std::uint32_t size) {
        const std::uintptr_t p = (next + (kAlignment - 1)) & ~std::uintptr_t{kAlignment - 1};
        if (p + size > end) {
            return nullptr;
        }
        next = p + size;
        return reinterpret_cast<void*>(p);
    }
    void EndFrame() { next = begin; }

    std::unique_ptr<char[]> memory{new char[kMostBytes]};
    std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(memory.get());
    std::uintptr_t next = begin;
    std::uintptr_t end = begin + kMostBytes;
};

struct Monotonic {
    void* Alloc(std::uint32_t size) { return resource.allocate(size, kAlignment); }
    void EndFrame() { resource.release(); }

    std::unique_ptr<char[]> memory{new char[kMostBytes]};
    std::pmr::monotonic_buffer_resource resource{memory.get(), kMostBytes};
};

struct MonotonicAsResource : Monotonic {
    MonotonicAsResource() { benchmark::DoNotOptimize(interface); }
    void* Alloc(std::uint32_t size) { return interface->allocate(size, kAlignment); }
    std::pmr::memory_resource* interface = &resource;
};

// One item is one allocation.
template <typename Contender>
void Bump(benchmark::State& state) {
    Contender contender;
    const auto size = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        for (int i = 0; i < kPerFrame; ++i) {
            benchmark::DoNotOptimize(contender.Alloc(size));
            benchmark::ClobberMemory();
        }
        contender.EndFrame();
    }
    state.SetItemsProcessed(state.iterations() * kPerFrame);
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(16)->Arg(64)->Arg(256);
}

BENCHMARK(Bump<Linear>)->Name("arena_linear/ours")->Apply(Sizes);
BENCHMARK(Bump<RawPointer>)->Name("arena_linear/raw_pointer")->Apply(Sizes);
BENCHMARK(Bump<Monotonic>)->Name("arena_linear/std_monotonic")->Apply(Sizes);
BENCHMARK(Bump<Frame>)->Name("arena_frame/ours")->Apply(Sizes);
BENCHMARK(Bump<RawPointer>)->Name("arena_frame/raw_pointer")->Apply(Sizes);
BENCHMARK(Bump<Monotonic>)->Name("arena_frame/std_monotonic")->Apply(Sizes);
BENCHMARK(Bump<FrameAsAllocator>)->Name("arena_interface/ours")->Apply(Sizes);
BENCHMARK(Bump<MonotonicAsResource>)->Name("arena_interface/std_monotonic")->Apply(Sizes);

}  // namespace
