// A million random allocations and frees in pages of 64 MiB, 256 bytes to 1 MiB, as many small
// sizes as large ones, at a given number of live blocks. Counters: pages in use, and their space
// over the live bytes.

#include "ZelREKernel/memory/vBestFitAllocator.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "peers/SetBestFit.h"

namespace {

constexpr std::uint64_t kPage = 64U << 20;
constexpr std::size_t kRounds = 500000;  // of one Free and one Alloc each

class Ours {
public:
    using Address = ZKL::vBestFitAllocator::Address;
    Address Alloc(std::uint64_t size, std::uint64_t tag) {
        return allocator_.Alloc(size, tag, false, false);
    }
    void Free(Address address) { allocator_.Free(address, 1); }
    std::uint64_t GetNumPages() const { return allocator_.GetNumPages(); }

private:
    ZKL::vBestFitAllocator allocator_{kPage, nullptr};
};

class SetBestFit : public peers::SetBestFit {
public:
    SetBestFit() : peers::SetBestFit(kPage) {}
};

class Sizes {
public:
    std::uint32_t operator()() {
        return static_cast<std::uint32_t>(256 * std::pow(4096.0, spread_(random_)));
    }
    std::mt19937& Random() { return random_; }

private:
    std::mt19937 random_{7};
    std::uniform_real_distribution<double> spread_{0, 1};
};

template <class Contender>
void Churn(benchmark::State& state) {
    const auto live = static_cast<std::size_t>(state.range(0));
    struct Round {
        std::uint32_t victim;
        std::uint32_t size;
    };
    Sizes sizes;
    std::vector<Round> rounds(kRounds);
    std::vector<std::uint32_t> size(live);
    std::vector<typename Contender::Address> address(live);
    auto contender = std::make_unique<Contender>();
    for (std::size_t i = 0; i < live; ++i) {
        size[i] = sizes();
        address[i] = contender->Alloc(size[i], i);
    }
    for (Round& round : rounds) {
        round = {static_cast<std::uint32_t>(sizes.Random()() % live), sizes()};
    }
    auto round = rounds.begin();
    for (auto _ : state) {
        contender->Free(address[round->victim]);
        address[round->victim] = contender->Alloc(round->size, round->victim);
        ++round;
    }
    state.SetItemsProcessed(state.iterations() * 2);
    for (const Round& done : rounds) {
        size[done.victim] = done.size;
    }
    double bytes = 0;
    for (const std::uint32_t s : size) {
        bytes += s;
    }
    const auto pages = static_cast<double>(contender->GetNumPages());
    state.counters["pages"] = pages;
    state.counters["space"] = pages * static_cast<double>(kPage) / bytes;
}

BENCHMARK(Churn<Ours>)
    ->Name("churn/ours")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Iterations(kRounds);
BENCHMARK(Churn<SetBestFit>)
    ->Name("churn/std_set")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Iterations(kRounds);

}  // namespace
