#include <gtest/gtest.h>

#include <fstream>

#include "ZelREKernel/diagnostics/vDynamicLoader.h"
#include "support/CaptureStream.h"

namespace {

TEST(vDynamicLoader, TellsTheNumberAndTheLoadersOwnText) {
    const test::TempDir directory;
    const std::string text = directory.File("text.x");
    std::ofstream(text) << std::string(1000, '#');
    std::string said;
    {
        const test::CaptureStream output(1);
        const ZKL::vDynamicLoader missing("no-such-library", true);
        const ZKL::vDynamicLoader noLibrary(text, true);
        said = output.Text();
    }
    const std::string start = "[RELEASE]\t : ZKL::vDynamicLoader::vDynamicLoader -- ";
    EXPECT_EQ(said, start + "Load library error : 2\n" + start +
                        "Could not open library : no-such-library (no-such-library.so: cannot open "
                        "shared object file: No such file or directory)\n" +
                        start + "Load library error : 8\n" + start + "Could not open library : " +
                        text + " (" + text + ": invalid ELF header)\n");
}

}  // namespace
