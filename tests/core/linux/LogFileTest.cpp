#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ZelREKernel/core/vLoggerOutput.h"
#include "support/TempDir.h"

namespace {

// Neither one that was started afresh nor one that was added to: whatever the host starts.
TEST(LogFile, StaysWithItsProcess) {
    const test::TempDir directory;
    const std::string name = directory.File("log");
    ZKL::vLoggerOutput* const outputs[] = {ZKL::vLoggerOutput::Create(name.c_str()),
                                           ZKL::vLoggerOutput::Create(name.c_str())};
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closed;
        if (std::filesystem::read_symlink(entry, closed) == name) {
            ++found;
            EXPECT_EQ(fcntl(std::stoi(entry.path().filename().string()), F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_EQ(found, 2);
    for (ZKL::vLoggerOutput* const output : outputs) {
        output->Release();
    }
}

}  // namespace
