#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "App.h"
#include "FrameContext.h"
#include "FrameGraph.h"
#include "Model.h"
#include "Picture.h"
#include "ZelREKernel/memory/vPageAllocator.h"
#include "ZelREKernel/tasks/vWorkerThread.h"
#include "support/TempDir.h"

namespace {

using frame::FrameContext;
using frame::FrameGraph;
using frame::Stage;

// A ring of leaning pyramids: edges, both sides, shadows, several chunks.
frame::Model TestModel() {
    frame::Model model;
    model.materials = {{"a", {0.8f, 0.3f, 0.1f}, false}, {"b", {0.5f, 0.5f, 0.5f}, true}};
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

class Frames : public testing::Test {
protected:
    static constexpr std::uint32_t kFrames = 5;
    static constexpr frame::TileGrid kGrid{200, 120};

    Frames() {
        std::string error;
        mesh_ = frame::Mesh::Build(TestModel(), error);
        camera_.Reset(new frame::Camera(kGrid.width, kGrid.height, mesh_->Height()));
    }
    ~Frames() override { ZKL::DestroyAllocator(); }

    // Every job in order, on this thread.
    std::vector<std::uint64_t> RunPlainly() {
        FrameContext context(1, kGrid, mesh_, camera_);
        std::vector<std::uint64_t> hashes;
        for (std::uint32_t number = 0; number < kFrames; ++number) {
            context.Begin(number);
            for (std::uint32_t s = 0; s < frame::kStageCount; ++s) {
                const auto stage = static_cast<Stage>(s);
                for (std::uint32_t job = 0; job < context.JobCount(stage); ++job) {
                    context.Run(stage, job);
                }
            }
            hashes.push_back(frame::PictureHash(context.Pixels()));
        }
        return hashes;
    }

    std::vector<std::uint64_t> RunAsGraph(std::uint32_t workers) {
        FrameContext contexts[2] = {{1, kGrid, mesh_, camera_}, {2, kGrid, mesh_, camera_}};
        ZKL::vWorkerThread pool;
        ZKL::vWorkerThread presenter;
        pool.RunPool(workers);
        presenter.RunSingle();
        std::vector<std::uint64_t> hashes;
        {
            const auto present = [&](FrameContext& context) {
                EXPECT_EQ(context.Number(), hashes.size());
                hashes.push_back(frame::PictureHash(context.Pixels()));
            };
            FrameGraph graphs[2] = {{contexts[0], pool, presenter, present},
                                    {contexts[1], pool, presenter, present}};
            FrameGraph::Node gate;
            for (std::uint32_t number = 0; number < kFrames; ++number) {
                EXPECT_TRUE(graphs[number % 2].Wait());
                graphs[number % 2].Launch(number, gate);
            }
        }
        presenter.StopThread();
        presenter.Join();
        return hashes;
    }

    ZKL::vRefPtr<frame::Mesh> mesh_;
    ZKL::vSmartPtr<frame::Camera> camera_;
};

// The numbers below are the pictures' own: they change with the look of the sample, never with the
// compiler, its settings or the system.
TEST_F(Frames, PicturesAreTheSameBytesForAnyNumberOfWorkers) {
    const std::vector<std::uint64_t> plain = RunPlainly();
    EXPECT_EQ(plain.front(), 2902158727122410421u);
    EXPECT_EQ(plain.back(), 10592470596073466667u);
    for (const std::uint32_t workers : {1u, 2u, 3u, 8u}) {
        EXPECT_EQ(RunAsGraph(workers), plain) << workers << " workers";
    }
}

std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::uint8_t> ReadPng(const std::filesystem::path& path, png_image& image) {
    image = {};
    image.version = PNG_IMAGE_VERSION;
    std::vector<std::uint8_t> pixels;
    if (png_image_begin_read_from_file(&image, path.string().c_str()) != 0) {
        image.format = PNG_FORMAT_RGB;
        pixels.resize(PNG_IMAGE_SIZE(image));
        if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
            pixels.clear();
        }
    }
    return pixels;
}

// The whole program, twice in one process: what it leaves belongs together.
TEST(App, LeavesPicturesTraceLogAndSummary) {
    const test::TempDir directory;
    const std::filesystem::path& folder = directory.Path();
    const auto model = folder / "model.obj";
    std::ofstream(model) << "v -1 0 0\nv 1 0 0\nv 0 2 0\nv 0 0 1\nf 1 2 3\nf 1 4 3\nf 4 2 3\n";
    std::string summaries[2];
    for (std::uint32_t run = 0; run < 2; ++run) {
        frame::Options options;
        options.frames = 3;
        options.width = 100;
        options.height = 60;
        options.workers = run + 1;
        options.every = 2;
        options.model = model.string();
        options.out = (folder / std::to_string(run)).string();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        ASSERT_EQ(frame::RunApp(options), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        summaries[run] = testing::internal::GetCapturedStdout();
        const std::filesystem::path out = options.out;
        EXPECT_EQ(ReadText(out / "summary.txt"), summaries[run]);

        png_image image;
        const std::vector<std::uint8_t> last = ReadPng(out / "frame.png", image);
        EXPECT_EQ(image.width, 100u);
        EXPECT_EQ(image.height, 60u);
        EXPECT_EQ(ReadPng(out / "frame-00002.png", image), last);
        EXPECT_NE(ReadPng(out / "frame-00000.png", image), last);
        std::ostringstream hash;
        hash << std::hex << std::setw(16) << std::setfill('0') << frame::PictureHash(last);
        EXPECT_NE(summaries[run].find("Last picture       " + hash.str()), std::string::npos);

        const std::string log = ReadText(out / "frame.log");
        EXPECT_NE(log.find("[INFO]\t : Frame 2 has picture " + hash.str()), std::string::npos);
        EXPECT_NE(
            ReadText(out / "graph.log").find("\t\ttransform 1\n\t\t\tshadow 16\n\t\t\tbin 1\n"),
            std::string::npos);
        const std::string stages = ReadText(out / "stages.log");
        EXPECT_EQ(std::count(stages.begin(), stages.end(), '\n'), 3);
        const std::string trace = ReadText(out / "profiling.js");
        EXPECT_EQ(trace.find("{\"traceEvents\":["), 0u);
        EXPECT_NE(trace.find("\"name\":\"tiles\""), std::string::npos);
        EXPECT_NE(trace.find("\"name\":\"encode PNG\""), std::string::npos);
    }
    // The last line compares all pictures of the runs.
    EXPECT_EQ(summaries[0].substr(summaries[0].find("Last picture")),
              summaries[1].substr(summaries[1].find("Last picture")));
}

}  // namespace
