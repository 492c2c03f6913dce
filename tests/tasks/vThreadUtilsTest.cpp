#include "ZelREKernel/tasks/vThreadUtils.h"

#include <MekHost/assertion/MekCheck.h>
#include <gtest/gtest.h>

#include <string>

namespace {

TEST(vThreadUtils, NullNameIsAMisuse) {
    static std::string reported;
    const MekCheckHandler previous =
        MekSetCheckHandler([](const char* expression, const char*, int) { reported = expression; });
    vThreadUtils::SetThreadName(nullptr);
    MekSetCheckHandler(previous);
    EXPECT_EQ(reported, "name");
}

}  // namespace
