#include <MekHost/process/MekEnvironment.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "ZelREKernel/diagnostics/vProcessLauncher.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

// The child writes far more than a pipe holds. Its output is read by another thread of the process
// that waits for it, and ends when the child does: nobody else has the pipe's other end.
TEST(vProcessLauncher, ChildThatFillsAPipeIsReadWhileItIsWaitedFor) {
    for (const bool wait : {true, false}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const int saved = dup(1);
        dup2(ends[1], 1);
        close(ends[1]);
        std::string output;
        std::thread reader([&] {
            char buffer[4096];
            for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
                output.append(buffer, static_cast<std::size_t>(got));
            }
        });
        vProcessLauncher launcher(ZEL_TEST_BIN_DIR "/diagnostics-child", wait);
        launcher.PushArg("0");
        int result = -1;
        EXPECT_EQ(launcher.Launch(result), vProcessLauncher::eSuccess);
        dup2(saved, 1);
        close(saved);
        reader.join();
        close(ends[0]);
        EXPECT_EQ(output.size(), std::size_t{1} << 20);
        EXPECT_EQ(result, 0);
    }
}

// Not by a thread that waits for any child, nor by one that ignores them.
TEST(vProcessLauncher, ExitCodeIsTakenByNobodyElse) {
    for (const bool ignored : {true, false}) {
        const auto before = std::signal(SIGCHLD, ignored ? SIG_IGN : SIG_DFL);
        std::atomic<bool> end{false};
        std::thread taker([&] {
            while (!end) {
                wait(nullptr);
            }
        });
        for (int code = 1; code <= 20; ++code) {
            vProcessLauncher launcher("sh", true);
            launcher.PushArg("-c");
            launcher.PushArg("exit " + std::to_string(code));
            int result = -1;
            EXPECT_EQ(launcher.Launch(result), vProcessLauncher::eSuccess);
            EXPECT_EQ(result, code);
        }
        end = true;
        taker.join();
        std::signal(SIGCHLD, before);
    }
}

// The child ends only when the handler has run.
TEST(vProcessLauncher, SignalsComeWhileAProgramIsWaitedFor) {
    const test::TempDir directory;
    const std::string started = directory.File("started");
    static std::string s_heard;
    s_heard = directory.File("heard");
    const auto before =
        std::signal(SIGUSR1, [](int) { close(open(s_heard.c_str(), O_CREAT | O_WRONLY, 0600)); });
    std::thread sender([&, waiting = pthread_self()] {
        test::WaitUntil([&] { return std::filesystem::exists(started); });
        pthread_kill(waiting, SIGUSR1);
    });
    vProcessLauncher launcher("sh", true);
    launcher.PushArg("-c");
    launcher.PushArg("> " + started + "; until [ -e " + s_heard + " ]; do sleep 0.01; done");
    int result = -1;
    EXPECT_EQ(launcher.Launch(result), vProcessLauncher::eSuccess);
    EXPECT_EQ(result, 0);
    sender.join();
    std::signal(SIGUSR1, before);
}

// By the folders of "PATH" as it stands, past a file that cannot be executed; the program gets the
// variables as they stand.
TEST(vProcessLauncher, NamesAreLookedUpAsTheShellDoes) {
    const test::TempDir directory;
    std::ofstream(directory.File("sh")) << "no program\n";
    const auto launch = [](const std::string& path, int& result) {
        std::string before;
        MekGetEnv("PATH", &before);
        MekPutEnv(("PATH=" + path).c_str());
        vProcessLauncher launcher("sh", true);
        launcher.PushArg("-c");
        launcher.PushArg("exit $ZEL_TEST_CODE");
        const vProcessLauncher::EError error = launcher.Launch(result);
        MekPutEnv(("PATH=" + before).c_str());
        return error;
    };
    MekPutEnv("ZEL_TEST_CODE=77");
    int result = -1;
    const std::string here = directory.Path().string();
    EXPECT_EQ(launch(here + ":/nowhere:/bin", result), vProcessLauncher::eSuccess);
    EXPECT_EQ(result, 77);
    EXPECT_EQ(launch(here, result), vProcessLauncher::eNotExecutable);
    EXPECT_EQ(launch("/nowhere", result), vProcessLauncher::eEXENotFound);
    MekRemoveEnv("ZEL_TEST_CODE");
}

}  // namespace
