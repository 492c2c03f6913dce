#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "ZelREKernel/diagnostics/vProcessLauncher.h"

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

}  // namespace
