#include "ZelREKernel/base/vRandom.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <thread>

namespace {

struct Random : ZKL::vRandom {
    using vRandom::_Initialize;

    std::array<std::uint32_t, 8> Draw() {
        std::array<std::uint32_t, 8> drawn{};
        for (std::uint32_t& value : drawn) {
            value = ComputeRand();
        }
        return drawn;
    }
    std::array<std::uint32_t, 8> DrawWithSeed(std::time_t seed) {
        std::srand(static_cast<unsigned int>(seed));
        return Draw();
    }
};

TEST(vRandom, SeedsOnceAndOnDemand) {
    Random first;
    const auto expected = first.DrawWithSeed(1);
    for (const std::uint32_t value : expected) {
        EXPECT_LE(value, 32767U);
    }
    std::srand(1);
    Random second;  // does not seed
    EXPECT_EQ(second.Draw(), expected);

    const std::time_t before = std::time(nullptr);
    second._Initialize();
    const auto seeded = first.Draw();
    bool found = false;
    for (std::time_t t = before; t <= std::time(nullptr) && !found; ++t) {
        found = first.DrawWithSeed(t) == seeded;
    }
    EXPECT_TRUE(found);
}

// Be the generator one for all or one for each.
TEST(vRandom, GivesEachThreadOtherNumbers) {
    Random random;
    std::array<std::uint32_t, 8> drawn[2] = {};
    for (auto& numbers : drawn) {
        std::thread([&] { numbers = random.Draw(); }).join();
    }
    EXPECT_NE(drawn[0], drawn[1]);
}

}  // namespace
