#include "ZelREKernel/diagnostics/vProcessLauncher.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "json/FailingNew.h"
#include "support/ScopedCheckHandler.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

const char* const kChild = ZEL_TEST_BIN_DIR "/diagnostics-child" ZEL_PROGRAM_SUFFIX;

TEST(vProcessLauncher, EveryErrorNumberHasItsOutcomeAndText) {
    const struct {
        int number;
        const char* text;
    } cases[] = {{7, "ArgumentListIsTooBig"},
                 {22, "WrongMode"},
                 {2, "EXENotFound"},
                 {8, "NotExecutable"},
                 {12, "NotEnoughMemory"},
                 {0, "Success"},
                 {1, "Success"},
                 {-1, "Success"},
                 {999, "Success"}};
    for (const auto& [number, text] : cases) {
        EXPECT_EQ(ZKL::to_string(vProcessLauncher::ConvertError(number)), text) << number;
    }
    EXPECT_EQ(ZKL::to_string(static_cast<vProcessLauncher::EError>(6)), "ERROR");
}

// Every byte that an argument can hold and that means something to some shell or parser.
TEST(vProcessLauncher, AwkwardPathsAndArgumentsArriveAsTheyAre) {
    const test::TempDir directory;
    const std::string folder = directory.File("two  words 'and' (more) & 100%;");
    std::filesystem::create_directory(folder);
    const std::string program = folder + "/the child" ZEL_PROGRAM_SUFFIX;
    std::filesystem::copy_file(kChild, program);
    std::string all = "\t\v\x7F";
    for (char c = ' '; c <= '~'; ++c) {
        all += c;
    }
    for (const bool wait : {true, false}) {
        const std::string file = folder + (wait ? "/waited" : "/not waited");
        vProcessLauncher original(program.c_str(), wait);
        for (const char* argument : {"200", file.c_str(), "", "\"", "\\", "a\\\\\"b c\\"}) {
            original.PushArg(argument);
        }
        vProcessLauncher launcher(original);
        launcher.PushArg(all);
        launcher.PushArg(std::string("not const").data());
        int result = -1;
        EXPECT_EQ(launcher.Launch(result), vProcessLauncher::eSuccess);
        EXPECT_EQ(result, wait ? 200 : 0);
        const std::string expected = "\n\"\n\\\na\\\\\"b c\\\n" + all + "\nnot const\n";
        EXPECT_TRUE(test::WaitUntil([&] { return test::ReadFile(file) == expected; }))
            << test::ReadFile(file);
    }
}

TEST(vProcessLauncher, FailuresAreNamed) {
    const test::ScopedCheckHandler checks;
    vProcessLauncher missing("no-such-program-on-any-path", false);
    vProcessLauncher noPath(nullptr, true);
    noPath.PushArg(kChild);
    missing.PushArg(static_cast<const char*>(nullptr));
    int result = -1;
    int error = -1;
    EXPECT_EQ(missing.Launch(result), vProcessLauncher::eEXENotFound);
    EXPECT_EQ(result, 0);
    missing.Launch(result, error);
    EXPECT_EQ(error, 2);
    EXPECT_EQ(noPath.Launch(result), vProcessLauncher::eWrongMode);
    EXPECT_EQ(checks.Expressions(), (std::vector<std::string>{"path", "argument"}));
}

// Whichever allocation fails, of the launcher or of the host services.
TEST(vProcessLauncher, WithoutMemoryNothingIsThrown) {
    if (!test::FailingNew::ReachesLibrary()) {
        GTEST_SKIP() << "the library has an operator new of its own on this system";
    }
    vProcessLauncher launcher("no-such-program-on-any-path", true);
    int error = 12;
    std::size_t after = 0;
    for (; error == 12; ++after) {
        const test::FailingNew failing(after);
        int result = -1;
        launcher.Launch(result, error);
        EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(error, 2);
    EXPECT_GT(after, 3u);
}

}  // namespace
