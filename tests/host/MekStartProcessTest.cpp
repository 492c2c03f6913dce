#include <MekHost/MekStatus.h>
#include <MekHost/process/MekStartProcess.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/HostChild.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"
#include "support/Threads.h"
#include "support/WaitUntil.h"

namespace {

using test::kHostChild;
using test::Start;

TEST(MekStartProcess, WaitsForTheExitCode) {
    EXPECT_EQ(Start(kHostChild, {"exit", "255"}, true).result, 255);
    // 3 is the exit code of an abort where programs do not end by signals.
    const int aborted = Start(kHostChild, {"abort"}, true).result;
    EXPECT_TRUE(aborted == 128 + SIGABRT || aborted == 3) << aborted;
}

TEST(MekStartProcess, HandsArgumentsOnUnchanged) {
    const test::TempDir directory;
    const std::vector<std::string> arguments = {"",
                                                "two \"words\"\t'here'",
                                                "\\",
                                                "ends in \\",
                                                "\\\\\"",
                                                "*.cpp",
                                                "%PATH%",
                                                "$HOME;&(x|y)<^z>",
                                                "Gr\xC3\xBC\xC3\x9F"};
    std::string expected;
    for (const std::string& each : arguments) {
        expected += each + "\n";
    }
    for (const bool wait : {true, false}) {
        const std::string file = directory.File(wait ? "waited" : "not waited");
        std::vector<std::string> orders = {"arguments", file};
        orders.insert(orders.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(Start(kHostChild, orders, wait).status, kMekOk);
        EXPECT_TRUE(
            test::WaitUntil([&] { return test::ReadFile(file).size() >= expected.size(); }));
        EXPECT_EQ(test::ReadFile(file), expected);
    }
}

TEST(MekStartProcess, NamesTheReasonForNotStarting) {
    const test::TempDir directory;
    const std::string plain = directory.File("plain");
    std::ofstream(plain) << "no program\n";
    const std::string marked = directory.File("marked");
    std::filesystem::copy_file(plain, marked);
    std::filesystem::permissions(marked, std::filesystem::perms::owner_all);
    struct {
        std::string path;
        std::size_t argumentBytes;
        int error;
    } const kCases[] = {
        {directory.File("missing"), 1, 2},
        {"no-such-program-on-any-path", 1, 2},
        {"", 1, 2},
        {plain, 1, 8},
        {marked, 1, 8},
        {kHostChild, 8u << 20, 7},
    };
    for (const auto& [path, bytes, error] : kCases) {
        for (const bool wait : {true, false}) {
            const test::Started started = Start(path, {std::string(bytes, 'a')}, wait);
            EXPECT_EQ(started.status, kMekFailed) << path;
            EXPECT_EQ(started.error, error) << path;
        }
    }
}

TEST(MekStartProcess, KeepsDescriptorsToItself) {
    const test::TempDir directory;
    const int descriptor = open(directory.File("open").c_str(), O_CREAT | O_RDWR, 0600);
    EXPECT_EQ(Start(kHostChild, {"owns", std::to_string(descriptor)}, true).result, 0);
    EXPECT_EQ(write(descriptor, "x", 1), 1);
    close(descriptor);
    const test::CaptureStream errors(2);
    EXPECT_EQ(Start(kHostChild, {"owns", "2"}, true).result, 1);
}

TEST(MekStartProcess, LeavesNoChildBehind) {
    const char* const children = "/proc/thread-self/children";
    if (!std::filesystem::exists(children)) {
        GTEST_SKIP() << "children cannot be counted on this system";
    }
    test::OnThreads(8, [](int i) {
        EXPECT_EQ(Start(kHostChild, {"exit", "5"}, i % 2).result, i % 2 ? 5 : 0);
        EXPECT_EQ(Start("no-such-program-on-any-path", {}, i % 2).error, 2);
    });
    EXPECT_EQ(test::ReadFile(children), "");
}

}  // namespace
