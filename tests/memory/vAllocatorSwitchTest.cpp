#include "ZelREKernel/memory/vAllocatorSwitch.h"

#include <MekHost/MekStatus.h>
#include <MekHost/process/MekEnvironment.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "ZelREKernel/base/vMainThread.h"

namespace {

// Puts a variable to `value`, null to take it out. False where the system cannot.
bool SetVariable(const std::string& name, const char* value) {
    MekRemoveEnv(name.c_str());
    std::string seen;
    return !value || (MekPutEnv((name + "=" + value).c_str()) == kMekOk &&
                      MekGetEnv(name.c_str(), &seen) == kMekOk);
}

TEST(InitAllocator, FollowsTheEnvironmentInEveryCombination) {
    enum { kOn = 0, kOff = 1, kSilent = 2 };  // what a variable says of the custom allocators
    struct Setting {
        const char* value;
        int says;
    };
    const Setting tools[] = {{nullptr, kSilent},       {"", kSilent},
                             {"MemoryCheck", kOff},    {"RuVerifier", kOff},
                             {"memorycheck", kSilent}, {"MemoryCheck ", kSilent}};
    const Setting switches[] = {{nullptr, kSilent}, {"", kOff},  {"0", kOn},   {"00", kOn},
                                {"0 is off", kOn},  {"1", kOff}, {" 0", kOff}, {"off", kOff}};
    EXPECT_FALSE(ZKL::IsCustomAllocatorDisabled());
    for (const char* before : {"0", "1"}) {
        for (const Setting& tool : tools) {
            for (const Setting& disable : switches) {
                SetVariable("ADL_ODT_EXECTOOL", nullptr);
                SetVariable("ZelDisableAllocators", before);
                ZKL::InitAllocator();
                if (!SetVariable("ADL_ODT_EXECTOOL", tool.value) ||
                    !SetVariable("ZelDisableAllocators", disable.value)) {
                    std::cout << "skipped: no empty variables on this system\n";
                    continue;
                }
                ZKL::InitAllocator();
                const int said = disable.says != kSilent ? disable.says : tool.says;
                EXPECT_EQ(ZKL::IsCustomAllocatorDisabled(),
                          said != kSilent ? said == kOff : *before == '1')
                    << (tool.value ? tool.value : "unset") << " "
                    << (disable.value ? disable.value : "unset") << " after " << before;
            }
        }
    }
    SetVariable("ZelDisableAllocators", "0");
    ZKL::InitAllocator();
}

// Runs in a process of its own, where nobody has asked for the main thread yet.
TEST(InitAllocatorDeathTest, FixesTheMainThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ask = [] {
        bool other = true;
        ZKL::InitAllocator();
        std::thread([&] { other = ZKL::IsMainThread(); }).join();
        std::exit(ZKL::IsMainThread() && !other ? 0 : 1);
    };
    EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}

}  // namespace
