// Two workers render frames that the main thread hands them; the trace shows who waited for whom.
//
//     profile [directory]      writes profiling.js there (here by default); open it in a trace
//     viewer

#include <cstdint>
#include <cstdio>
#include <future>
#include <thread>
#include <vector>

#include "ZelREKernel/profiling/vProfilerManager.h"
#include "ZelREKernel/profiling/vProfilerWithFlow.h"
#include "ZelREKernel/profiling/vScopedProfiler.h"

namespace {

using ZKL::vProfiler;

const std::uint32_t s_frame = vProfiler::RegisterName("RenderFrame");
const std::uint32_t s_submit = vProfiler::RegisterName("Submit");
const std::uint32_t s_wait = vProfiler::RegisterName("Wait");
const std::uint32_t s_tile = vProfiler::RegisterName("Tile");
const std::uint32_t s_shade = vProfiler::RegisterName("Shade");
const std::uint32_t s_index = vProfiler::RegisterName("index");
const std::uint32_t s_flow = vProfiler::RegisterName("flow");
const std::uint32_t s_pass = vProfiler::RegisterName("pass");
const std::uint32_t s_tilesDone = vProfiler::RegisterName("tiles done");

constexpr std::uint32_t kFrames = 8;
constexpr std::uint32_t kTilesPerFrame = 4;

double Shade(std::uint32_t seed, const char* pass) {
    const ZKL::vScopedProfiler scope(s_shade, s_pass, pass);
    double sum = seed;
    for (int i = 1; i < 20000; ++i) {
        sum += 1.0 / (sum + i);
    }
    return sum;
}

double RenderTile(std::uint32_t index, std::uint32_t flowId) {
    const std::string name = "Worker " + std::to_string(index);
    vProfiler::RecordMetaData(vProfiler::eThreadName, name.c_str(), 0);
    const ZKL::vProfilerWithFlow tile(s_tile, s_flow, flowId);
    return Shade(index, "diffuse") + Shade(index, "specular");
}

double RenderFrame(std::uint32_t frame) {
    vProfiler::RecordFrame(frame);
    const ZKL::vScopedProfiler scope(s_frame, s_index, frame);
    std::vector<std::future<double>> tiles;
    for (std::uint32_t tile = 0; tile < kTilesPerFrame; ++tile) {
        const ZKL::vProfilerWithFlow submit(s_submit, s_flow, vProfiler::kNone,
                                            ZKL::vProfilerWithFlow::eFlowStart);
        tiles.push_back(std::async(std::launch::async, RenderTile, tile, submit.GetFlowId()));
    }
    const ZKL::vScopedProfiler wait(s_wait);
    double sum = 0;
    for (std::uint32_t tile = 0; tile < kTilesPerFrame; ++tile) {
        sum += tiles[tile].get();
        vProfiler::RecordCounter(s_tilesDone, frame * kTilesPerFrame + tile + 1);
    }
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
    manager.SetProcessName("Profile sample");
    vProfiler::RecordMetaData(vProfiler::eThreadName, "Main", 0);
    manager.SetTraceDirectory(argc > 1 ? argv[1] : ".");

    manager.TurnOn();
    double sum = 0;
    for (std::uint32_t frame = 0; frame < kFrames; ++frame) {
        sum += RenderFrame(frame);
    }
    manager.TurnOff();
    if (!manager.FlushProfiler()) {
        std::fprintf(stderr, "profile: cannot write profiling.js\n");
        return 1;
    }
    std::printf("profile: %u frames, checksum %.3f\n", kFrames, sum);
    return 0;
}
