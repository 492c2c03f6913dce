#include "ZelREKernel/base/vRandom.h"

#include <cstdlib>
#include <ctime>

namespace ZKL {

vRandom::vRandom() {
    [[maybe_unused]] static const bool seeded = (_Initialize(), true);
}

std::uint32_t vRandom::ComputeRand() {
    return static_cast<std::uint32_t>(std::rand()) & 0x7fffU;
}

void vRandom::_Initialize() {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
}

}  // namespace ZKL
