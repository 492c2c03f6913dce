// Growth: members and elements added one by one in any order, beside std::map, which orders them as
// well. The time per item is to grow no faster than the logarithm of their number.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "ZelREKernel/json/ZelJSONValue.h"
#include "json/Heap.h"

namespace {

// The numbers from 0 to `count` - 1 in an order that looks random: a step that has no factor in
// common with a power of ten goes through all of them.
std::vector<std::uint32_t> Shuffled(std::int64_t count) {
    std::vector<std::uint32_t> order;
    std::uint64_t at = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        order.push_back(static_cast<std::uint32_t>(at));
        at = (at + 618'033'989) % static_cast<std::uint64_t>(count);
    }
    return order;
}

std::vector<std::string> Names(std::int64_t count) {
    std::vector<std::string> names;
    for (const std::uint32_t number : Shuffled(count)) {
        names.push_back("member" + std::to_string(number));
    }
    return names;
}

struct OurObject {
    ZelJSONValue value;
    void Add(const std::string& name, std::uint32_t i) { value[name] = i; }
};

struct MapOfNames {
    std::map<std::string, double> value;
    void Add(const std::string& name, std::uint32_t i) { value[name] = i; }
};

struct OurArray {
    ZelJSONValue value;
    void Add(std::uint32_t at, std::uint32_t i) { value[at] = static_cast<double>(i); }
};

struct MapOfIndices {
    std::map<std::uint32_t, double> value;
    void Add(std::uint32_t at, std::uint32_t i) { value[at] = i; }
};

template <class Container, class Key>
void Grow(benchmark::State& state, const std::vector<Key>& keys) {
    bench::KeepFreedMemory();
    const auto round = [&keys] {
        Container container;
        std::uint32_t i = 0;
        for (const Key& key : keys) {
            container.Add(key, i++);
        }
        benchmark::DoNotOptimize(container);
    };
    const std::size_t peak = bench::PeakBytesOf(round);
    for ([[maybe_unused]] auto step : state) {
        round();
    }
    const auto count = static_cast<std::int64_t>(keys.size());
    state.SetItemsProcessed(count * state.iterations());
    state.counters["bytes/item"] = static_cast<double>(peak) / static_cast<double>(count);
}

template <class Container>
void AddMembers(benchmark::State& state) {
    Grow<Container>(state, Names(state.range(0)));
}

template <class Container>
void AddElements(benchmark::State& state) {
    Grow<Container>(state, Shuffled(state.range(0)));
}

template <class Container>
void AppendElements(benchmark::State& state) {
    std::vector<std::uint32_t> order(static_cast<std::size_t>(state.range(0)));
    std::iota(order.begin(), order.end(), 0u);
    Grow<Container>(state, order);
}

BENCHMARK(AddMembers<OurObject>)
    ->Name("add_members/ours")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);
BENCHMARK(AddMembers<MapOfNames>)
    ->Name("add_members/std_map")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);
BENCHMARK(AddElements<OurArray>)
    ->Name("add_elements/ours")
    ->RangeMultiplier(10)
    ->Range(1000, 10000000);
BENCHMARK(AddElements<MapOfIndices>)
    ->Name("add_elements/std_map")
    ->RangeMultiplier(10)
    ->Range(1000, 10000000);
BENCHMARK(AppendElements<OurArray>)
    ->Name("append_elements/ours")
    ->RangeMultiplier(10)
    ->Range(1000, 10000000);
BENCHMARK(AppendElements<MapOfIndices>)
    ->Name("append_elements/std_map")
    ->RangeMultiplier(10)
    ->Range(1000, 10000000);

}  // namespace
