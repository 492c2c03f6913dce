#include "Renderer.h"

#include <cinttypes>
#include <cstdio>
#include <utility>

#include "Crash.h"
#include "Picture.h"
#include "Progress.h"
#include "Services.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vProfilerManager.h"

namespace frame {
namespace {

// Recorded events stay in memory until they are flushed.
constexpr std::uint32_t kFramesPerFlush = 256;

std::string PicturePath(const std::string& folder, std::uint32_t number) {
    char name[32];
    std::snprintf(name, sizeof name, "/frame-%05" PRIu32 ".png", number);
    return folder + name;
}

}  // namespace

Renderer::Renderer(const Options& options, ZKL::vRefPtr<Mesh> mesh, WorkerService& workers)
    : options_(options),
      workers_(workers.WorkerCount()),
      list_(std::move(mesh), buffers_),
      camera_(new Camera(options.width, options.height, list_.Source().Height())),
      writer_(options.width, options.height),
      hashes_(options.frames) {
    const TileGrid grid{options.width, options.height};
    for (Flight& flight : flights_) {
        flight.context = std::make_unique<FrameContext>(buffers_, list_, grid, camera_);
        flight.graph =
            std::make_unique<FrameGraph>(*flight.context, workers.Pool(), workers.Presenter(),
                                         [this](FrameContext& context) { Present(context); });
    }
    fragmentationAtLoading_ = buffers_.Read().fragmentation;
    buffers_.Defragment();
}

bool Renderer::Run(RunRecord& record, std::string& error) {
    LogGraph();
    Progress progress(options_.frames);
    const ZKL::vTimer timer;
    FrameGraph::Node gate;
    for (std::uint32_t number = 0; number < options_.frames + kInFlight; ++number) {
        Flight& flight = flights_[number % kInFlight];
        if (number >= kInFlight) {
            Collect(flight, record);
            progress.Show(number - kInFlight + 1);
        }
        if (number < options_.frames) {
            flight.graph->Launch(number, gate);
        }
        if (number % kFramesPerFlush == kFramesPerFlush - 1) {
            ZKL::vProfilerManager::GetInstance().FlushProfiler();
        }
    }
    record.seconds = timer.GetElapsedTime() / 1000.0;
    record.workers = workers_;
    record.jobsPerFrame = flights_[0].graph->JobsPerFrame();
    record.lastPicture = hashes_.back();
    record.allPictures = PictureHash({reinterpret_cast<const std::uint8_t*>(hashes_.data()),
                                      hashes_.size() * sizeof(std::uint64_t)});
    return writer_.Finish(error);
}

void Renderer::Read(AllocatorFigures& figures) const {
    figures.frameBytes = flights_[0].context->FrameBytes();
    figures.buffers = buffers_.Read();
    figures.fragmentationAtLoading = fragmentationAtLoading_;
    figures.drawItems = static_cast<std::uint32_t>(list_.Items().size());
    figures.ids = list_.Ids().GetNumAllocs();
    figures.freeIdRanges = list_.Ids().GetNumFreeBlocks();
    figures.idFragmentation = list_.Ids().GetFragmentation();
}

// On the presenter's thread.
void Renderer::Present(FrameContext& context) {
    static const std::uint32_t s_triangles = ZKL::vProfiler::RegisterName("triangles on screen");
    const std::uint32_t number = context.Number();
    // The frame after this one is being rendered.
    if (number == options_.frames / 2 && !options_.crashHere.empty()) {
        Crash(options_.crashHere);
    }
    hashes_[number] = PictureHash(context.Pixels());
    ZKL::vProfiler::RecordCounter(s_triangles, context.TrianglesOnScreen());
    if (number + 1 == options_.frames) {
        writer_.Save(options_.out + "/frame.png", context.Pixels());
    }
    if (options_.every != 0 && number % options_.every == 0) {
        writer_.Save(PicturePath(options_.out, number), context.Pixels());
    }
    ZKL::LogDefault(ZKL::vLogger::eInfo, "Frame %" PRIu32 " has picture %016" PRIx64, number,
                    hashes_[number]);
}

void Renderer::Collect(Flight& flight, RunRecord& record) {
    while (!flight.graph->Wait()) {
        ZKL::LogDefault(ZKL::vLogger::eWarning, "Frame %" PRIu32 " is late",
                        flight.context->Number());
    }
    const StageTimes times = flight.context->Clock().Read();
    record.frames.push_back(times);
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        ZKL::LogProfiling(ZKL::vLogger::eProfiling, "%s%s %.3f", i == 0 ? "" : "\t",
                          StageName(static_cast<Stage>(i)), times[i].workMs);
    }
    ZKL::LogProfiling(ZKL::vLogger::eProfiling, "\n");
}

void Renderer::LogGraph() const {
    constexpr auto kLevel = ZKL::vLogger::eInfo;
    const auto jobs = [this](Stage stage) { return JobCount(stage); };
    ZKL::LogPipelining(kLevel, "frame graph, jobs per stage:\n");
    ZKL::LogPipelining(kLevel, "pushtab animate %" PRIu32 "\n", jobs(Stage::Animate));
    ZKL::LogPipelining(kLevel, "pushtab transform %" PRIu32 "\n", jobs(Stage::Transform));
    ZKL::LogPipelining(kLevel, "pushtab shadow %" PRIu32 "\n", jobs(Stage::Shadow));
    ZKL::LogPipelining(kLevel, "bin %" PRIu32 "\n", jobs(Stage::Bin));
    ZKL::LogPipelining(kLevel, "pushtab tiles %" PRIu32 "\n", jobs(Stage::Tiles));
    ZKL::LogPipelining(kLevel, "pushtab resolve %" PRIu32 "\n", jobs(Stage::Resolve));
    ZKL::LogPipelining(kLevel, "pushtab present %" PRIu32 "\n", jobs(Stage::Present));
    ZKL::LogPipelining(kLevel, "poptab poptab poptab poptab poptab poptab");
}

}  // namespace frame
