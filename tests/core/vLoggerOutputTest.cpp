#include "ZelREKernel/core/vLoggerOutput.h"

#include <MekHost/process/MekAbendInfo.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vLog.h"
#include "core/CollectingOutput.h"
#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"
#include "support/TempDir.h"

namespace {

using ZKL::vLoggerOutput;

TEST(vLoggerOutput, WritesToTheStreamItsNameStandsFor) {
    const std::string withZero("b\0c\n", 4);
    test::CaptureStream out(1);
    test::CaptureStream err(2);
    for (const char* name : {"stdout", "stderr", "/no/such/directory/file", ""}) {
        vLoggerOutput* const output = vLoggerOutput::Create(name);
        ASSERT_NE(output, nullptr);
        output->Write("a\n");
        output->Write(withZero);
        output->Release();
    }
    EXPECT_EQ(err.Text(), "a\n" + withZero);
    const std::string each = "a\n" + withZero;
    EXPECT_EQ(out.Text(), each + each + each);  // stdout, and what stands in for the two files
}

TEST(vLoggerOutput, StartsAFileAfreshOnceInAProcess) {
    const test::TempDir directory;
    const std::string file = directory.File("log");
    const std::string later = directory.File("later/log");
    test::CaptureStream out(1);
    std::ofstream(file) << "from an earlier run\n";
    vLoggerOutput* const first = vLoggerOutput::Create(file.c_str());
    first->Write("first\n");
    EXPECT_EQ(test::ReadText(file), "first\n");  // flushed, and afresh
    vLoggerOutput* const second = vLoggerOutput::Create(file.c_str());
    second->Write("second\n");
    EXPECT_EQ(test::ReadText(file), "first\nsecond\n");
    second->Release();
    first->Release();

    // A path counts only once it could be opened.
    vLoggerOutput::Create(later.c_str())->Release();
    std::filesystem::create_directory(directory.Path() / "later");
    std::ofstream(later) << "from an earlier run\n";
    vLoggerOutput::Create(later.c_str())->Release();
    EXPECT_EQ(test::ReadText(later), "");
}

TEST(vLoggerOutput, AddsToTheCrashReportThatOutlivesIt) {
    vLoggerOutput* const output = vLoggerOutput::Create("abendTrace");
    output->Write("from an output\n");
    output->Release();
    ZKL::LogAbendTrace(ZKL::vLogger::eInfo, "from the %s\n", "channel");
    EXPECT_EQ(MekAbendInfo::WriteReport(),
              "==== ZELO INFORMATION ====\nfrom an output\nfrom the channel\n");
}

}  // namespace
