#include "base/RandomSeed.h"

namespace ZKL {

void SeedOnce(void (*seed)(std::uint32_t number)) noexcept {
    [[maybe_unused]] static const bool s_isSeeded = (seed(0), true);
}

}  // namespace ZKL
