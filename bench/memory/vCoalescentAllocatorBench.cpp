// Runs of identifiers beside the two ordered containers that one would take for it: a std::map of
// the free ranges by address and, for best fit, a std::set of them by length. Live runs have 1 to
// 64 identifiers; the state is one of long use, in which as many free ranges as the name says lie
// between them. Both contenders start from it and are asked the same.

#include "ZelREKernel/memory/vCoalescentAllocator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t kInvalid = vCoalescentAllocator::InvalidId;
constexpr std::uint32_t kLongest = 64;
constexpr std::size_t kBatch = 256;

class Ours {
public:
    explicit Ours(std::uint32_t size) : ids_(size) {}
    std::uint32_t Alloc(std::uint32_t count) { return ids_.Alloc(count); }
    std::uint32_t AllocBestFit(std::uint32_t count) { return ids_.AllocBestFit(count); }
    void Free(std::uint32_t id, std::uint32_t count) { ids_.Free(id, count); }
    std::size_t Ranges() const { return ids_.GetNumFreeBlocks(); }

private:
    vCoalescentAllocator ids_;
};

template <bool kBySize>
class StdContainers {
public:
    explicit StdContainers(std::uint32_t size) { Add(0, size); }

    std::uint32_t Alloc(std::uint32_t count) {
        const auto fit = std::find_if(ranges_.begin(), ranges_.end(), [count](const auto& range) {
            return range.second - range.first >= count;
        });
        return fit != ranges_.end() ? Take(fit, count) : kInvalid;
    }
    std::uint32_t AllocBestFit(std::uint32_t count) {
        const auto best = bySize_.lower_bound({count, 0});
        return best != bySize_.end() ? Take(ranges_.find(best->second), count) : kInvalid;
    }
    void Free(std::uint32_t id, std::uint32_t count) {
        std::uint32_t end = id + count;
        auto right = ranges_.lower_bound(id);
        if (right != ranges_.begin() && std::prev(right)->second == id) {
            id = std::prev(right)->first;
            Remove(std::prev(right));
        }
        if (right != ranges_.end() && right->first == end) {
            end = right->second;
            Remove(right);
        }
        Add(id, end);
    }
    std::size_t Ranges() const { return ranges_.size(); }

private:
    using Map = std::map<std::uint32_t, std::uint32_t>;

    std::uint32_t Take(Map::iterator range, std::uint32_t count) {
        const auto [begin, end] = *range;
        Remove(range);
        if (begin + count != end) {
            Add(begin + count, end);
        }
        return begin;
    }
    void Add(std::uint32_t begin, std::uint32_t end) {
        ranges_.emplace(begin, end);
        if (kBySize) {
            bySize_.emplace(end - begin, begin);
        }
    }
    void Remove(Map::iterator range) {
        if (kBySize) {
            bySize_.erase({range->second - range->first, range->first});
        }
        ranges_.erase(range);
    }

    Map ranges_;
    std::set<std::pair<std::uint32_t, std::uint32_t>> bySize_;
};

struct Run {
    std::uint32_t id;
    std::uint32_t count;
};

using Alloc = std::uint32_t (vCoalescentAllocator::*)(std::uint64_t);

// What a long run of random frees and allocations leaves.
struct State {
    // First fit leaves about 0.3 free ranges for each live run, best fit 0.13.
    State(std::size_t ranges, bool isBestFit) : size(static_cast<std::uint32_t>(ranges) * 1024) {
        const Alloc alloc =
            isBestFit ? &vCoalescentAllocator::AllocBestFit : &vCoalescentAllocator::Alloc;
        vCoalescentAllocator ids(size);
        std::mt19937 random(1);
        const auto make = [&] {
            const auto count = static_cast<std::uint32_t>(1 + random() % kLongest);
            return Run{(ids.*alloc)(count), count};
        };
        live.resize(ranges * (isBestFit ? 77 : 33) / 10);
        std::generate(live.begin(), live.end(), make);
        for (std::size_t i = 0; i < 6 * live.size(); ++i) {
            Run& run = live[random() % live.size()];
            ids.Free(run.id, run.count);
            run = make();
        }
        for (std::uint32_t i = 0; i < ids.GetNumFreeBlocks(); ++i) {
            std::uint32_t begin = 0;
            std::uint32_t end = 0;
            ids.GetFreeBlock(i, begin, end);
            free.push_back({begin, end - begin});
        }
    }
    std::uint32_t size;
    std::vector<Run> live;
    std::vector<Run> free;
};

const State& StateOf(std::size_t ranges, bool isBestFit) {
    static std::map<std::pair<std::size_t, bool>, State> s_states;
    return s_states.try_emplace({ranges, isBestFit}, ranges, isBestFit).first->second;
}

template <typename Contender>
class Workload {
public:
    explicit Workload(const State& state) : ids(state.size), live(state.live) {
        ids.Alloc(state.size);
        for (const Run& run : state.free) {
            ids.Free(run.id, run.count);
        }
    }
    // Puts a batch of live runs, at random, in front.
    void Choose() {
        for (std::size_t i = 0; i < kBatch; ++i) {
            std::swap(live[i], live[i + random() % (live.size() - i)]);
        }
    }
    // Another run in the place of each of the batch.
    template <auto kAlloc>
    void Refill() {
        for (std::size_t i = 0; i < kBatch; ++i) {
            live[i].count = static_cast<std::uint32_t>(1 + random() % kLongest);
            live[i].id = (ids.*kAlloc)(live[i].count);
        }
    }

    std::mt19937 random{2};
    Contender ids;
    std::vector<Run> live;
};

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Frees a batch of runs at random and allocates another; one item is the call of `kWork`.
enum Work { eAlloc, eFree };

template <typename Contender, Work kWork, auto kAlloc>
void Churn(benchmark::State& state) {
    const bool isBestFit = kAlloc == &Contender::AllocBestFit;
    Workload<Contender> load(StateOf(static_cast<std::size_t>(state.range(0)), isBestFit));
    double ranges = 0.0;
    for (auto _ : state) {
        load.Choose();
        auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < kBatch; ++i) {
            load.ids.Free(load.live[i].id, load.live[i].count);
        }
        const double freeing = SecondsSince(start);
        start = std::chrono::steady_clock::now();
        load.template Refill<kAlloc>();
        const double allocating = SecondsSince(start);
        state.SetIterationTime(kWork == eFree ? freeing : allocating);
        ranges += static_cast<double>(load.ids.Ranges());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
    state.counters["ranges"] = ranges / static_cast<double>(state.iterations());
}

using Plain = StdContainers<false>;
using BySize = StdContainers<true>;

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->UseManualTime()->Arg(1000)->Arg(10000)->Arg(100000);
}

BENCHMARK((Churn<Ours, eAlloc, &Ours::Alloc>))->Name("ids_first_fit/ours")->Apply(Sizes);
BENCHMARK((Churn<Plain, eAlloc, &Plain::Alloc>))->Name("ids_first_fit/std_map")->Apply(Sizes);
BENCHMARK((Churn<Ours, eFree, &Ours::Alloc>))->Name("ids_free/ours")->Apply(Sizes);
BENCHMARK((Churn<Plain, eFree, &Plain::Alloc>))->Name("ids_free/std_map")->Apply(Sizes);
BENCHMARK((Churn<Ours, eAlloc, &Ours::AllocBestFit>))->Name("ids_best_fit/ours")->Apply(Sizes);
BENCHMARK((Churn<BySize, eAlloc, &BySize::AllocBestFit>))
    ->Name("ids_best_fit/std_map_set")
    ->Apply(Sizes);
BENCHMARK((Churn<Ours, eFree, &Ours::AllocBestFit>))->Name("ids_best_fit_free/ours")->Apply(Sizes);
BENCHMARK((Churn<BySize, eFree, &BySize::AllocBestFit>))
    ->Name("ids_best_fit_free/std_map_set")
    ->Apply(Sizes);

}  // namespace
