#include "ZelREKernel/diagnostics/vDynamicLoader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "support/CaptureStream.h"
#include "support/TempDir.h"

namespace {

using ZKL::vDynamicLoader;

const char* const kPlugin = ZEL_TEST_BIN_DIR "/diagnostics-plugin" ZEL_LIBRARY_SUFFIX;

int CountCalls(vDynamicLoader& loader) {
    const auto count = reinterpret_cast<int (*)()>(loader.GetFunction("CountCalls"));
    return count ? count() : -1;
}

TEST(vDynamicLoader, NameWithoutADotGetsTheSuffixAndTheLibraryGoesWithItsLastLoader) {
    const test::TempDir directory;
    std::filesystem::copy_file(kPlugin, directory.File("plugin" ZEL_LIBRARY_SUFFIX));
    std::filesystem::copy_file(kPlugin, directory.File("plugin.x"));
    for (const char* name : {"plugin", "plugin.x"}) {
        for (int round = 0; round < 2; ++round) {
            vDynamicLoader first(directory.File(name), true);
            ASSERT_TRUE(first.IsLoaded()) << name;
            EXPECT_EQ(CountCalls(first), 1) << "not unloaded";
            vDynamicLoader second(std::move(first));
            first = vDynamicLoader(directory.File(name), true);
            second = std::move(first);
            EXPECT_FALSE(first.IsLoaded());  // NOLINT(bugprone-use-after-move): it says so
            EXPECT_EQ(CountCalls(second), 2);
        }
    }
    ASSERT_TRUE(vDynamicLoader::PreloadLibrary(directory.File("plugin").c_str()));
    for (int round = 1; round <= 2; ++round) {
        vDynamicLoader loader(directory.File("plugin").c_str(), true);
        EXPECT_EQ(CountCalls(loader), round) << "unloaded";
    }
}

TEST(vDynamicLoader, SaysWhatIsMissingWhenAsked) {
    vDynamicLoader empty(nullptr, true);
    vDynamicLoader loader(kPlugin, true);
    std::string unasked;
    std::string missing;
    std::string functions;
    {
        const test::CaptureStream output(1);
        const vDynamicLoader silent("no-such-library", false);
        EXPECT_FALSE(silent.IsLoaded() || vDynamicLoader::PreloadLibrary("no-such-library") ||
                     vDynamicLoader::PreloadLibrary(nullptr));
        unasked = output.Text();
        const vDynamicLoader reporting("no-such-library", true);
        missing = output.Text();
        EXPECT_FALSE(reporting.IsLoaded() || loader.GetFunction(nullptr) ||
                     loader.GetFunction("NoSuchFunction") || empty.GetFunction("malloc"));
        functions = output.Text().substr(missing.size());
    }
    EXPECT_EQ(unasked, "");
    const std::string start = "[RELEASE]\t : ZKL::vDynamicLoader::vDynamicLoader -- ";
    EXPECT_EQ(missing.rfind(start + "Load library error : ", 0), 0u) << missing;
    EXPECT_NE(missing.find("\n" + start + "Could not open library : no-such-library"),
              std::string::npos)
        << missing;
    EXPECT_EQ(functions,
              "[RELEASE]\t : Function NoSuchFunction has not been found\n"
              "[RELEASE]\t : Function malloc has not been found\n");
}

}  // namespace
