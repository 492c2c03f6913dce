// Setting one of a thousand control variables by its name, beside what a program would write by
// itself: a map of the standard library under a recursive mutex, as ours is.

#include "ZelREKernel/core/vControlVar.h"

#include <benchmark/benchmark.h>

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t kVariables = 1000;

std::vector<std::string> MakeNames() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < kVariables; ++i) {
        names.push_back("renderer.shadow.cascade " + std::to_string(i));
    }
    return names;
}

const std::vector<std::string>& Names() {
    static const std::vector<std::string> s_names = MakeNames();
    return s_names;
}

template <typename Set>
void SetAll(benchmark::State& state, Set set) {
    const std::vector<std::string>& names = Names();
    unsigned int value = 0;
    for (auto _ : state) {
        set(names[value % kVariables].c_str(), value);
        ++value;
    }
}

void Ours(benchmark::State& state) {
    static unsigned int s_values[kVariables];
    static const bool s_registered = [] {
        for (std::size_t i = 0; i < kVariables; ++i) {
            ZKL::vControlVar::Register(Names()[i].c_str(), &s_values[i],
                                       ZKL::vControlVar::eUnsignedInt, {});
        }
        return true;
    }();
    benchmark::DoNotOptimize(s_registered);
    SetAll(state,
           [](const char* name, unsigned int value) { ZKL::vControlVar::SetValue(name, value); });
}
BENCHMARK(Ours)->Name("cvar_set/ours");

void StdMap(benchmark::State& state) {
    std::vector<unsigned int> values(kVariables);
    std::unordered_map<std::string, std::vector<unsigned int*>> variables;
    std::recursive_mutex mutex;
    for (std::size_t i = 0; i < kVariables; ++i) {
        variables[Names()[i]].push_back(&values[i]);
    }
    SetAll(state, [&](const char* name, unsigned int value) {
        const std::lock_guard guard(mutex);
        for (unsigned int* variable : variables[name]) {
            *variable = value;
        }
    });
}
BENCHMARK(StdMap)->Name("cvar_set/std_unordered_map");

}  // namespace
