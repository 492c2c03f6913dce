#include "Model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "App.h"
#include "Mesh.h"
#include "Normals.h"
#include "support/TempDir.h"

namespace {

class Models : public testing::Test {
protected:
    std::string Write(const std::string& text) {
        std::string path = (folder_ / "model.obj").string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    // Runs the whole program on a model that must fail, and returns what it says.
    std::string RunToFailure(const std::string& path) {
        frame::Options options;
        options.model = path;
        options.out = (folder_ / "out").string();
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        EXPECT_EQ(frame::RunApp(options), 1) << path;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        return testing::internal::GetCapturedStderr();
    }

    const test::TempDir directory_;
    const std::filesystem::path& folder_ = directory_.Path();
};

const std::string corners = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";

TEST_F(Models, BrokenOnesGetOneLineAndExitCodeOne) {
    const struct {
        std::string text;
        const char* reason;
    } cases[] = {
        {"", "no triangles"},
        {corners + "p 1 2 3\nl 1 2\n", "no triangles"},
        {corners + "f 1 2 -4\n", "a face names a vertex that is not there"},
        {corners + "f 1 2 2147483647\n", "a face names a vertex that is not there"},
        {corners + "f 1//1 2//1 3//9\n", "a face names a vertex that is not there"},
        {corners + "f 0 1 2\n", "not a sound OBJ file: "},
        {corners + "f 1 2\n", "line 4 is no face of three or more corners"},
        {corners + "f 1 2 3;\n", "line 4 is no face of three or more corners"},
        {corners + "v nan 0 0\nf 1 2 4\n", "line 4 is no coordinate of three numbers"},
        {corners + "v 1e999 0 0\nf 1 2 4\n", "a coordinate is not finite or far too large"},
        {corners + "v 0 -1e30 0\nf 1 2 4\n", "a coordinate is not finite or far too large"},
        {"v 0 0 0\nv 1 1 1\nv 2 2 2\nf 1 2 3\n", "no triangle has an area"},
    };
    for (const auto& each : cases) {
        const std::string path = Write(each.text);
        const std::string said = RunToFailure(path);
        const std::string expected = "frame: " + path + ": " + each.reason;
        EXPECT_EQ(said.compare(0, expected.size(), expected), 0) << said;
        EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
    }
    EXPECT_EQ(RunToFailure("/no/such/model.obj"), "frame: /no/such/model.obj: no such file\n");
    EXPECT_EQ(RunToFailure(folder_.string()),
              "frame: " + folder_.string() + ": not a regular file\n");
}

TEST_F(Models, OddButSoundOnesLoad) {
    const struct {
        std::string text;
        std::size_t triangles;
    } cases[] = {
        {corners + "f 1 2 3 # a comment\n", 1},
        {corners + "f -3 -2 -1", 1},
        {corners + "v 1 1 0\nf 1 2 4 3\n", 2},
        {"mtllib ../../secret.mtl\nmtllib none.mtl\nusemtl nobody\r\n" + corners +
             "f 1/1 2/1 3\r\n",
         1},
        {corners + "vn 0 0 0\nf 1//1 2//1 3//1\nvp 1\ncurv 0 1 1 2\nt bad 2000000000/1/1\n", 1},
    };
    for (const auto& each : cases) {
        frame::Model model;
        std::string error;
        EXPECT_TRUE(frame::LoadModel(Write(each.text), model, error)) << error;
        EXPECT_EQ(model.triangles.size(), each.triangles) << each.text;
        EXPECT_TRUE(frame::Mesh::Build(model, error)) << error;
    }
}

}  // namespace
