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
using test::Started;

// How many children this process has, zombies included; -1 where there is nothing to count them by.
int CountChildren() {
    std::string self;
    if (!(std::ifstream("/proc/self/stat") >> self)) {
        return -1;
    }
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string text;
        if (std::getline(std::ifstream(entry.path() / "stat"), text) &&
            text.find(") ") != std::string::npos) {
            // "<process> (<name>) <state> <parent> ..."
            const std::string parent = text.substr(text.rfind(") ") + 4);
            count += parent.starts_with(self + " ");
        }
    }
    return count;
}

TEST(MekStartProcess, WaitsForTheExitCode) {
    for (const int code : {0, 1, 3, 255}) {
        const Started started = Start(kHostChild, {"exit", std::to_string(code)}, true);
        EXPECT_EQ(started.status, kMekOk);
        EXPECT_EQ(started.result, code);
        EXPECT_EQ(started.error, 0);
    }
    // 3 is the exit code of an abort where programs do not end by signals.
    const int aborted = Start(kHostChild, {"abort"}, true).result;
    EXPECT_TRUE(aborted == 128 + SIGABRT || aborted == 3) << aborted;
}

TEST(MekStartProcess, HandsArgumentsOnUnchanged) {
    const test::TempDir directory;
    const std::vector<std::string> arguments = {"",
                                                " ",
                                                "two words",
                                                "tab\there",
                                                "\"",
                                                "a\"b",
                                                "'single'",
                                                "\\",
                                                "ends in \\",
                                                "\\\"",
                                                "\\\\\"",
                                                "*.cpp",
                                                "$HOME",
                                                "%PATH%",
                                                "a;b&c",
                                                "(x|y)<z>",
                                                "Gr\xC3\xBC\xC3\x9F",
                                                "--",
                                                "^caret^",
                                                "last"};
    std::string expected;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        expected += std::to_string(i) + ":" + arguments[i] + "\n";
    }
    for (const bool wait : {true, false}) {
        const std::string file = directory.File(wait ? "waited" : "not waited");
        std::vector<std::string> orders = {"arguments", file};
        orders.insert(orders.end(), arguments.begin(), arguments.end());
        const Started started = Start(kHostChild, orders, wait);
        EXPECT_EQ(started.status, kMekOk);
        EXPECT_EQ(started.result, 0);
        EXPECT_TRUE(
            test::WaitUntil([&] { return test::ReadFile(file).size() >= expected.size(); }));
        EXPECT_EQ(test::ReadFile(file), expected);
    }
}

TEST(MekStartProcess, NamesTheReasonForNotStarting) {
    const test::TempDir directory;
    const auto text = [&](const char* name, std::filesystem::perms permissions) {
        std::string file = directory.File(name);
        std::ofstream(file) << "no program\n";
        std::filesystem::permissions(file, permissions);
        return file;
    };
    struct {
        std::string path;
        std::size_t argumentBytes;
        int error;
    } const kCases[] = {
        {directory.File("missing"), 1, 2},
        {"no-such-program-on-any-path", 1, 2},
        {"", 1, 2},
        {text("plain", std::filesystem::perms::owner_read), 1, 8},
        {text("marked", std::filesystem::perms::owner_all), 1, 8},
        {kHostChild, 8u << 20, 7},
    };
    for (const auto& [path, bytes, error] : kCases) {
        for (const bool wait : {true, false}) {
            const Started started = Start(path, {std::string(bytes, 'a')}, wait);
            EXPECT_EQ(started.status, kMekFailed) << path;
            EXPECT_EQ(started.result, 0) << path;
            EXPECT_EQ(started.error, error) << path;
        }
    }
    int result = -1;
    int error = -1;
    const char* const none[] = {nullptr};
    EXPECT_EQ(MekStartProcess(nullptr, none, true, result, error), kMekInvalidParameter);
    EXPECT_EQ(error, 22);
    EXPECT_EQ(MekStartProcess(kHostChild, nullptr, false, result, error), kMekInvalidParameter);
    EXPECT_EQ(error, 22);
}

TEST(MekStartProcess, KeepsDescriptorsToItself) {
    const test::TempDir directory;
    const int descriptor = open(directory.File("open").c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(Start(kHostChild, {"owns", std::to_string(descriptor)}, true).result, 0);
    {
        const test::CaptureStream errors(2);
        EXPECT_EQ(Start(kHostChild, {"owns", "2"}, true).result, 1);
        EXPECT_EQ(errors.Text(), "x");
    }
    EXPECT_EQ(write(descriptor, "x", 1), 1);
    close(descriptor);
}

TEST(MekStartProcess, LeavesNoChildBehind) {
    if (CountChildren() < 0) {
        GTEST_SKIP() << "children cannot be counted on this system";
    }
    test::OnThreads(8, [](int i) {
        EXPECT_EQ(Start(kHostChild, {"exit", "5"}, i % 2).result, i % 2 ? 5 : 0);
        EXPECT_EQ(Start("no-such-program-on-any-path", {}, i % 2).error, 2);
    });
    EXPECT_EQ(CountChildren(), 0);
}

TEST(MekStartProcess, GetsTheExitCodeFromAHostThatIgnoresChildren) {
    constexpr int kChildEnded = 17;  // SIGCHLD; refused where there is no such signal
    const auto before = std::signal(kChildEnded, SIG_IGN);
    if (before == SIG_ERR) {
        GTEST_SKIP() << "this system has no signal for the end of a child";
    }
    EXPECT_EQ(Start(kHostChild, {"exit", "9"}, true).result, 9);
    EXPECT_EQ(Start(kHostChild, {"exit", "9"}, false).status, kMekOk);
    EXPECT_EQ(std::signal(kChildEnded, before), SIG_IGN);
}

}  // namespace
