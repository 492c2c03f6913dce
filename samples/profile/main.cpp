// Three workers render frames that the main thread hands them; the trace shows who waited for whom.
//
//     profile [directory]      writes profiling.js there (here by default); open it in a trace
//     viewer

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
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

constexpr std::uint32_t kWorkers = 3;
constexpr std::uint32_t kFrames = 8;
constexpr std::uint32_t kTilesPerFrame = 4;

struct Tile {
    std::uint32_t frame;
    std::uint32_t flowId;
};

std::atomic<std::uint64_t> s_sum{0};

// What the main thread hands to the workers; a tile of frame kFrames sends one of them home.
std::mutex s_lock;
std::condition_variable s_changed;
std::deque<Tile> s_tiles;
std::uint32_t s_done = 0;

double Shade(double seed, const char* pass) {
    const ZKL::vScopedProfiler scope(s_shade, s_pass, pass);
    for (int i = 1; i < 20000; ++i) {
        seed += 1.0 / (seed + i);
    }
    return seed;
}

Tile TakeTile() {
    std::unique_lock lock(s_lock);
    s_changed.wait(lock, [] { return !s_tiles.empty(); });
    const Tile tile = s_tiles.front();
    s_tiles.pop_front();
    return tile;
}

void RunWorker(std::uint32_t index) {
    const std::string name = "Worker " + std::to_string(index);
    vProfiler::RecordMetaData(vProfiler::eThreadName, name.c_str(), 0);
    for (Tile tile = TakeTile(); tile.frame < kFrames; tile = TakeTile()) {
        const ZKL::vProfilerWithFlow scope(s_tile, s_flow, tile.flowId);
        s_sum += static_cast<std::uint64_t>(Shade(Shade(tile.frame, "diffuse"), "specular"));
        const std::lock_guard guard(s_lock);
        vProfiler::RecordCounter(s_tilesDone, ++s_done);
        s_changed.notify_all();
    }
}

void Queue(const Tile& tile) {
    const std::lock_guard guard(s_lock);
    s_tiles.push_back(tile);
    s_changed.notify_all();
}

void Submit(std::uint32_t frame) {
    const ZKL::vProfilerWithFlow scope(s_submit, s_flow, vProfiler::kNone,
                                       ZKL::vProfilerWithFlow::eFlowStart);
    Queue({frame, scope.GetFlowId()});
}

void RenderFrame(std::uint32_t frame) {
    vProfiler::RecordFrame(frame);
    const ZKL::vScopedProfiler scope(s_frame, s_index, frame);
    for (std::uint32_t tile = 0; tile < kTilesPerFrame; ++tile) {
        Submit(frame);
    }
    const ZKL::vScopedProfiler wait(s_wait);
    std::unique_lock lock(s_lock);
    s_changed.wait(lock, [=] { return s_done == (frame + 1) * kTilesPerFrame; });
}

}  // namespace

int main(int argc, char** argv) {
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
    manager.SetProcessName("Profile sample");
    vProfiler::RecordMetaData(vProfiler::eThreadName, "Main", 0);
    manager.SetTraceDirectory(argc > 1 ? argv[1] : ".");

    manager.TurnOn();
    std::vector<std::thread> workers;
    for (std::uint32_t index = 0; index < kWorkers; ++index) {
        workers.emplace_back(RunWorker, index);
    }
    for (std::uint32_t frame = 0; frame < kFrames; ++frame) {
        RenderFrame(frame);
    }
    for (std::size_t i = 0; i < workers.size(); ++i) {
        Queue({kFrames, vProfiler::kNone});
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    manager.TurnOff();
    if (!manager.FlushProfiler()) {
        std::fprintf(stderr, "profile: cannot write profiling.js\n");
        return 1;
    }
    std::printf("profile: %u frames, checksum %llu\n", kFrames,
                static_cast<unsigned long long>(s_sum.load()));
    return 0;
}
