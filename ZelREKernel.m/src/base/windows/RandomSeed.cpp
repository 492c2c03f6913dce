#include "base/RandomSeed.h"

#include <atomic>

#include "PerThread.h"

namespace ZKL {
namespace {

using IsSeeded = PerThread<struct RandomSeedTag, bool>;

constinit std::atomic<std::uint32_t> s_seeded{0};

}  // namespace

void SeedOnce(void (*seed)(std::uint32_t number)) noexcept {
    if (!IsSeeded::Get()) {
        IsSeeded::Set(true);
        seed(s_seeded.fetch_add(1, std::memory_order_relaxed));
    }
}

}  // namespace ZKL
