#include <MekHost/process/MekStartProcess.h>
#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace {

TEST(StreamOutput, GivesItsTextToAnAttachedDebuggerAlone) {
    const test::TempDir directory;
    const std::string out = directory.File("out");
    const std::string err = directory.File("err");
    const char* const arguments[] = {ZEL_TEST_BIN_DIR "/core-child", "debugged", out.c_str(),
                                     err.c_str(), nullptr};
    int result = -1;
    int error = -1;
    ASSERT_EQ(MekStartProcess(arguments[0], arguments, true, result, error), 0) << error;
    if (result == 77) {
        GTEST_SKIP() << "a process may not be traced here";
    }
    ASSERT_EQ(result, 0);
    EXPECT_EQ(test::ReadText(out), "buffered ");
    EXPECT_EQ(test::ReadText(err), "to the debugger\n");
}

}  // namespace
