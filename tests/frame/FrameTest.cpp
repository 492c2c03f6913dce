#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "App.h"
#include "BufferPool.h"
#include "FrameContext.h"
#include "Model.h"
#include "Picture.h"
#include "ZelREKernel/memory/vPageAllocator.h"
#include "frame/Glb.h"
#include "support/TempDir.h"

namespace {

// A ring of leaning pyramids: edges, both sides, shadows, several chunks.
frame::Model TestModel() {
    frame::Model model;
    model.materials = {{"a", {0.8f, 0.3f, 0.1f}, 1.0f, false},
                       {"b", {0.5f, 0.5f, 0.5f}, 0.2f, true}};
    for (std::uint32_t i = 0; i < 64; ++i) {
        const std::uint32_t row = i / 8;
        const float x = static_cast<float>(i % 8) - 3.5f;
        const float z = static_cast<float>(row) - 3.5f;
        const auto first = static_cast<std::uint32_t>(model.positions.size());
        model.positions.insert(model.positions.end(), {{x, 0, z},
                                                       {x + 0.8f, 0, z},
                                                       {x + 0.4f, 0, z + 0.7f},
                                                       {x + z * 0.1f, 1.0f + x * z * 0.1f, z}});
        for (const auto& corners : {std::array{0u, 1u, 3u}, {1u, 2u, 3u}, {0u, 2u, 3u}}) {
            frame::Model::Triangle triangle{{}, i % 2};
            for (std::size_t k = 0; k < 3; ++k) {
                triangle.corners[k] = {first + corners[k], frame::Model::kNone};
            }
            model.triangles.push_back(triangle);
        }
    }
    return model;
}

// The pictures' hashes when every job runs in order on this thread.
std::vector<std::uint64_t> RunPlainly(const frame::Model& model, frame::TileGrid grid) {
    std::vector<std::uint64_t> hashes;
    {
        std::string error;
        const ZKL::vRefPtr<frame::Mesh> mesh = frame::Mesh::Build(model, error);
        const ZKL::vSmartPtr<frame::Camera> camera(
            new frame::Camera(grid.width, grid.height, mesh->Height()));
        frame::BufferPool pool(1);
        const frame::DrawList list(mesh, pool);
        frame::FrameContext context(pool, list, grid, camera);
        for (std::uint32_t number = 0; number < 5; ++number) {
            context.Begin(number);
            for (std::uint32_t s = 0; s < frame::kStageCount; ++s) {
                const auto stage = static_cast<frame::Stage>(s);
                for (std::uint32_t job = 0; job < context.JobCount(stage); ++job) {
                    context.Run(stage, job);
                }
            }
            hashes.push_back(frame::PictureHash(context.Pixels()));
        }
    }
    ZKL::DestroyAllocator();
    return hashes;
}

// The numbers below are the pictures' own: they change with the look of the sample, never with the
// compiler, its settings or the system.
TEST(Frames, PicturesAreTheSameBytesEverywhere) {
    const std::vector<std::uint64_t> hashes = RunPlainly(TestModel(), {200, 120});
    EXPECT_EQ(hashes.front(), 6264660055233473328u);
    EXPECT_EQ(hashes.back(), 17704541496911126890u);
}

std::vector<std::uint8_t> ReadPng(const std::string& path, png_image& image) {
    image = {};
    image.version = PNG_IMAGE_VERSION;
    std::vector<std::uint8_t> pixels;
    if (png_image_begin_read_from_file(&image, path.c_str()) != 0) {
        image.format = PNG_FORMAT_RGB;
        pixels.resize(PNG_IMAGE_SIZE(image));
        if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
            pixels.clear();
        }
    }
    return pixels;
}

// The whole program, several times in one process: what it leaves belongs together, and pictures
// are the same bytes for any number of workers.
TEST(App, LeavesPicturesTraceLogAndSummary) {
    const test::TempDir directory;
    frame::Options options;
    options.frames = 5;
    options.width = 100;
    options.height = 60;
    options.every = 2;
    options.model = directory.File("model.glb");
    std::ofstream(options.model, std::ios::binary) << test::Glb(TestModel());
    frame::Model model;
    std::string error;
    ASSERT_TRUE(frame::LoadModel(options.model, model, error)) << error;
    std::ostringstream hash;
    hash << std::hex << std::setw(16) << std::setfill('0')
         << RunPlainly(model, {options.width, options.height}).back();
    std::string pictures;
    for (const std::uint32_t workers : {1u, 2u, 3u, 8u}) {
        options.workers = workers;
        options.out = directory.File(std::to_string(workers));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = frame::RunApp(options);
        const std::string summary = testing::internal::GetCapturedStdout();
        ASSERT_EQ(testing::internal::GetCapturedStderr(), "");
        ASSERT_EQ(status, 0);
        EXPECT_EQ(test::ReadText(options.out + "/summary.txt"), summary);

        const nlohmann::json record =
            nlohmann::json::parse(test::ReadFile(options.out + "/summary.json"));
        EXPECT_EQ(record["frames"], 5);
        EXPECT_EQ(record["stages"].size(), frame::kStageCount);
        EXPECT_EQ(record["lastPicture"], hash.str());
        EXPECT_EQ(record["memory"]["drawItems"]["identifiers"], 2 * 128 * 6);
        // The upload left a gap, which is closed.
        EXPECT_EQ(record["memory"]["buffers"]["freeRanges"], 1);
        EXPECT_GT(record["memory"]["buffers"]["fragmentationAtLoading"], 0.0);

        png_image image;
        const std::vector<std::uint8_t> last = ReadPng(options.out + "/frame.png", image);
        EXPECT_EQ(image.width, 100u);
        EXPECT_EQ(image.height, 60u);
        EXPECT_EQ(ReadPng(options.out + "/frame-00004.png", image), last);
        EXPECT_NE(ReadPng(options.out + "/frame-00000.png", image), last);
        // The last line compares all pictures of the runs.
        const std::string compared = summary.substr(summary.find("Last picture"));
        EXPECT_TRUE(compared.starts_with("Last picture       " + hash.str())) << compared;
        EXPECT_EQ(compared, pictures.empty() ? compared : pictures);
        pictures = compared;

        const std::string log = test::ReadText(options.out + "/frame.log");
        EXPECT_NE(log.find("[INFO]\t : Frame 4 has picture " + hash.str()), std::string::npos);
        EXPECT_NE(test::ReadText(options.out + "/graph.log")
                      .find("\t\ttransform 5\n\t\t\tshadow 16\n\t\t\tbin 2\n"),
                  std::string::npos);
        const std::string stages = test::ReadText(options.out + "/stages.log");
        EXPECT_EQ(std::count(stages.begin(), stages.end(), '\n'), 5);
        const std::string trace = test::ReadFile(options.out + "/profiling.js");
        EXPECT_EQ(trace.find("{\"traceEvents\":["), 0u);
        EXPECT_NE(trace.find("\"name\":\"tiles\""), std::string::npos);
        EXPECT_NE(trace.find("\"name\":\"encode PNG\""), std::string::npos);
    }
}

}  // namespace
