// A copy by ParallelMemCpy beside memcpy, from one byte to far more than caches hold. Below 8 MiB
// the two are the same; from there on ours uses the arena's threads, from 16 MiB also stores that
// pass the cache.

#include "ZelREKernel/tasks/vParallelMemCpy.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

void PlainCopy(void* dst, const void* src, std::size_t n) {
    std::memcpy(dst, src, n);
}

template <void (*kCopy)(void*, const void*, std::size_t)>
void Copy(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::vector<char> from(size, 1);
    std::vector<char> to(size, 2);
    for (auto _ : state) {
        kCopy(to.data(), from.data(), size);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const std::int64_t size : {1, 64, 4096, 1 << 20, (8 << 20) - 1, 8 << 20, 12 << 20,
                                    16 << 20, 32 << 20, 64 << 20, 256 << 20}) {
        bench->Arg(size);
    }
    bench->UseRealTime();
}

BENCHMARK(Copy<ZKL::ParallelMemCpy>)->Name("copy/ours")->Apply(Sizes);
BENCHMARK(Copy<PlainCopy>)->Name("copy/memcpy")->Apply(Sizes);

}  // namespace
