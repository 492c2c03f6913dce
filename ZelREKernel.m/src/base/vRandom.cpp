#include "ZelREKernel/base/vRandom.h"

#include <cstdlib>
#include <ctime>

#include "base/RandomSeed.h"

namespace ZKL {
namespace {

// Generators that are seeded in the same second are to give different numbers.
void Seed(std::uint32_t number) {
    constexpr std::uint32_t kApart = 0x9e3779b9;
    std::srand(static_cast<std::uint32_t>(std::time(nullptr)) + number * kApart);
}

}  // namespace

vRandom::vRandom() {
    SeedOnce(&Seed);
}

std::uint32_t vRandom::ComputeRand() {
    SeedOnce(&Seed);  // this thread may have a generator of its own
    return static_cast<std::uint32_t>(std::rand()) & 0x7fffU;
}

void vRandom::_Initialize() {
    SeedOnce(&Seed);  // so that nothing seeds after this
    Seed(0);
}

}  // namespace ZKL
