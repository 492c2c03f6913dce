#include "ZelREKernel/tasks/vThreadUtils.h"

#include <gtest/gtest.h>

#include "support/ScopedCheckHandler.h"

namespace {

TEST(vThreadUtils, NullNameIsAMisuse) {
    const test::ScopedCheckHandler checks;
    vThreadUtils::SetThreadName(nullptr);
    EXPECT_EQ(checks.Expressions(), std::vector<std::string>{"name"});
}

}  // namespace
