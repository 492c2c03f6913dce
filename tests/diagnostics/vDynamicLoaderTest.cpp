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
    const std::string start = "[RELEASE]\t : ZKL::vDynamicLoader::vDynamicLoader -- ";
    const test::CaptureStream output(1);
    vDynamicLoader empty(nullptr, true);
    EXPECT_FALSE(vDynamicLoader("no-such-library", false).IsLoaded());
    EXPECT_FALSE(vDynamicLoader::PreloadLibrary("no-such-library"));
    EXPECT_FALSE(vDynamicLoader::PreloadLibrary(nullptr));
    EXPECT_EQ(output.Text(), "");
    EXPECT_FALSE(vDynamicLoader("no-such-library", true).IsLoaded());
    const std::string missing = output.Text();
    EXPECT_EQ(missing.rfind(start + "Load library error : ", 0), 0u) << missing;
    const std::string second = "\n" + start + "Could not open library : no-such-library";
    EXPECT_NE(missing.find(second), std::string::npos) << missing;

    vDynamicLoader loader(kPlugin, true);
    EXPECT_EQ(loader.GetFunction(nullptr), nullptr);
    EXPECT_EQ(loader.GetFunction("NoSuchFunction"), nullptr);
    EXPECT_EQ(empty.GetFunction("malloc"), nullptr);
    EXPECT_EQ(output.Text(), missing +
                                 "[RELEASE]\t : Function NoSuchFunction has not been found\n"
                                 "[RELEASE]\t : Function malloc has not been found\n");
}

}  // namespace
