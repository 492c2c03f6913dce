#include "Model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "App.h"
#include "JsonText.h"
#include "frame/Glb.h"
#include "support/TempDir.h"

namespace {

class Models : public testing::Test {
protected:
    std::string Write(const std::string& bytes) {
        std::string path = (folder_ / "model.glb").string();
        std::ofstream(path, std::ios::binary) << bytes;
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

// A square of two triangles, as a text whose words the cases below replace.
constexpr char kSquare[] =
    R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],
"nodes":[{"children":[1],"scale":[2,2,2]},{"mesh":0}],
"meshes":[{"primitives":[{"attributes":{"POSITION":0},"indices":1,"mode":4,"material":0}]}],
"materials":[{"name":"plain"}],
"accessors":[{"bufferView":0,"componentType":5126,"count":4,"type":"VEC3"},
{"bufferView":0,"byteOffset":48,"componentType":5121,"count":6,"type":"SCALAR"}],
"bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":54}],"buffers":[{"byteLength":54}]})";

std::string SquareBytes(float first = 0.0f) {
    const float corners[] = {first, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0};
    return std::string(reinterpret_cast<const char*>(corners), sizeof corners) +
           std::string("\0\1\2\2\1\3", 6);
}

std::string Square(const std::string& from = "", const std::string& to = "") {
    std::string text = kSquare;
    return text.replace(text.find(from), from.size(), to);
}

TEST_F(Models, BrokenOnesGetOneLineAndExitCodeOne) {
    const std::string sound = test::Glb(Square(), SquareBytes());
    const struct {
        std::string bytes;
        const char* reason;
    } cases[] = {
        {"", "not a glTF file: line 1: Syntax error: value, object or array expected."},
        {"{\n\n1}", "not a glTF file: line 3: Missing '}' or object member name"},
        {"[]", "no version of glTF is named"},
        {R"({"asset":{"version":"1.\u0007"}})", "glTF 1.?, not 2.0"},
        {sound.substr(0, 60), "the file is cut short or longer than it says"},
        {"glTF" + test::Word(1), "binary glTF of a version that is not 2"},
        {"glTF" + test::Word(2) + test::Word(20) + test::Word(9) + "JSON", "a chunk is cut short"},
        {test::Glb(Square(), SquareBytes(INFINITY)), "a coordinate is not finite or far too large"},
        {test::Glb(Square("[2,2,2]", "[1e18,1,1]"), SquareBytes(1.0f)),
         "a coordinate is not finite or far too large"},
        {test::Glb(Square("[2,2,2]", "[2,2]"), SquareBytes()), "node 0's scale has not 3 numbers"},
        {test::Glb(Square("[2,2,2]", "[2,2,\"2\"]"), SquareBytes()),
         "nodes[0].scale[2] is not a number"},
        {test::Glb(Square("[2,2,2]", "[0,0,0]"), SquareBytes()), "no triangle has an area"},
        {test::Glb(Square("[1]", "[0]"), SquareBytes()),
         "node 0 has two parents or is its own child"},
        {test::Glb(Square("[1]", "[7]"), SquareBytes()),
         "node 0 names an entry of nodes that is not there"},
        {test::Glb(Square("\"count\":4", "\"count\":3"), SquareBytes()),
         "a triangle names a vertex that is not there"},
        {test::Glb(Square("\"count\":6", "\"count\":5"), SquareBytes()),
         "a primitive has no whole number of triangles"},
        {test::Glb(Square("\"count\":6", "\"count\":4294967295"), SquareBytes()),
         "accessor 1 lies outside its buffer view"},
        {test::Glb(Square("\"count\":6", "\"count\":-1"), SquareBytes()),
         "accessors[1].count is not an index"},
        {test::Glb(Square("5121", "5126"), SquareBytes()), "accessor 1 does not hold indices"},
        {test::Glb(Square("\"byteLength\":54", "\"byteLength\":99"), SquareBytes()),
         "buffer view 0 lies outside its buffer"},
        {test::Glb(Square("[{\"byteLength\":54}]", "[{\"byteLength\":99}]"), SquareBytes()),
         "buffer 0 is shorter than it says"},
        {test::Glb(Square("{\"byteLength\":54}]", "{\"byteLength\":9,\"uri\":\"..%2Fx\"}]"), ""),
         "a buffer lies outside the model's folder"},
        {test::Glb(Square("{\"byteLength\":54}]", "{\"byteLength\":9,\"uri\":\"x%20\"}]"), ""),
         "buffer x : no such file"},
        {test::Glb(Square("\"material\":0", "\"material\":1"), SquareBytes()),
         "a primitive names an entry of materials that is not there"},
        {test::Glb(Square("\"mode\":4", "\"mode\":1"), SquareBytes()), "no triangles"},
    };
    for (const auto& each : cases) {
        const std::string path = Write(each.bytes);
        EXPECT_EQ(RunToFailure(path), "frame: " + path + ": " + each.reason + "\n");
    }
    EXPECT_EQ(RunToFailure("/no/such/model.glb"), "frame: /no/such/model.glb: no such file\n");
    EXPECT_EQ(RunToFailure(folder_.string()),
              "frame: " + folder_.string() + ": not a regular file\n");
}

TEST(Texts, AreMadeFitForTheBuilder) {
    EXPECT_EQ(frame::Printable("C:\\a \"b\"\n\x7F é 🙂 \xFF\xC0\xAF\xED\xA0\x80\xE2\x82"),
              "C:\\a 'b'?? é 🙂 ????????");
}

}  // namespace
