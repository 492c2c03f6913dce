#include "ZelREKernel/core/vControlVar.h"

#include <MekHost/process/MekStartProcess.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "support/ScopedCheckHandler.h"
#include "support/Threads.h"

namespace {

using ZKL::vControlVar;

constexpr auto kDraw = static_cast<vControlVar::ECategory>(7);
constexpr auto kSound = static_cast<vControlVar::ECategory>(0xFFFFFFFF);

// What is registered stays so: the variables live as long as the process.
struct Variables {
    bool flags[3] = {};  // the bytes beside the middle one are nobody's
    unsigned int count = 1;
    float factor = 0.5f;
    bool other = false;
};
Variables s_v;

std::string Values() {
    return std::to_string(s_v.flags[0]) + std::to_string(s_v.flags[1]) +
           std::to_string(s_v.flags[2]) + " " + std::to_string(s_v.count) + " " +
           std::to_string(s_v.factor) + " " + std::to_string(s_v.other);
}

TEST(vControlVar, EachValueReachesTheVariablesOfItsTypeAndNoOthers) {
    vControlVar::SetValue("x", true);  // before anybody registers it
    vControlVar::Register("x", &s_v.flags[1], vControlVar::eBool, kDraw);
    vControlVar::Register("x", &s_v.count, vControlVar::eUnsignedInt, kDraw);
    vControlVar::Register(std::string("x").c_str(), &s_v.factor, vControlVar::eFloat, kDraw);
    vControlVar::Register("other", &s_v.other, vControlVar::eBool, kSound);
    vControlVar::Register("other", &s_v.other, vControlVar::eBool, kSound);
    EXPECT_EQ(Values(), "000 1 0.500000 0");
    const struct {
        void (*set)();
        const char* values;
    } steps[] = {
        {[] { vControlVar::SetValue("x", 3u); }, "000 3 0.500000 0"},
        {[] { vControlVar::SetValue("x", 0.25f); }, "000 3 0.250000 0"},
        {[] { vControlVar::SetValue("x", true); }, "010 3 0.250000 0"},
        {[] { vControlVar::SetValue("other", 9u); }, "010 3 0.250000 0"},
        {[] { vControlVar::SetValue("X", false); }, "010 3 0.250000 0"},
        {[] { vControlVar::SetCategoryValue(kSound, true); }, "010 3 0.250000 1"},
        {[] { vControlVar::SetCategoryValue(kDraw, false); }, "000 3 0.250000 1"},
    };
    for (const auto& step : steps) {
        step.set();
        EXPECT_EQ(Values(), step.values);
    }
}

TEST(vControlVar, NullPointersGoToTheSinkAndChangeNothing) {
    const test::ScopedCheckHandler checks;
    vControlVar::Register(nullptr, &s_v.count, vControlVar::eUnsignedInt, kDraw);
    vControlVar::Register("null", nullptr, vControlVar::eBool, kDraw);
    vControlVar::SetValue(nullptr, 1u);
    vControlVar::SetValue("null", true);
    vControlVar::SetCategoryValue(kDraw, false);
    EXPECT_EQ(checks.Expressions(), (std::vector<std::string>{"name", "address", "name"}));
}

TEST(vControlVar, StaticObjectsOfTheHostMaySetToTheirEnd) {
    const char* const arguments[] = {ZEL_TEST_BIN_DIR "/core-child", "variables", nullptr};
    int result = -1;
    int error = -1;
    EXPECT_EQ(MekStartProcess(arguments[0], arguments, true, result, error), 0) << error;
    EXPECT_EQ(result, 0);
}

TEST(vControlVar, ThreadsRegisterAndSetBesideEachOther) {
    static std::atomic<unsigned> s_values[64];
    test::OnThreads(64, [](int i) {
        // Half of the names are shared by two threads.
        const std::string name = "thread " + std::to_string(i % 48);
        vControlVar::Register(name.c_str(), &s_values[i], vControlVar::eUnsignedInt, kDraw);
        vControlVar::SetValue(name.c_str(), 5u);
        vControlVar::SetCategoryValue(kDraw, true);
        EXPECT_EQ(s_values[i], 5u);
    });
}

}  // namespace
