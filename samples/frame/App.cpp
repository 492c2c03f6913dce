#include "App.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "Host.h"
#include "MemoryMeter.h"
#include "Model.h"
#include "PageMeter.h"
#include "Renderer.h"
#include "Services.h"
#include "ZelREKernel/core/vKernelModule.h"
#include "ZelREKernel/core/vLifeCycleManager.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/memory/vAllocatorSwitch.h"
#include "ZelREKernel/memory/vLinearAllocator.h"
#include "ZelREKernel/memory/vMemoryResource.h"
#include "ZelREKernel/memory/vPageAllocator.h"

namespace frame {
namespace {

// Nothing else takes pages while a model is loaded.
constexpr std::uint64_t kLoadingOwner = 1;

int Fail(const std::string& line) {
    std::fprintf(stderr, "frame: %s\n", line.c_str());
    return 1;
}

// The model, and all that only loading needs, lies in an arena and goes with it; `arenaBytes` says
// how large that was.
ZKL::vRefPtr<Mesh> LoadMesh(const std::string& path, std::uint64_t& arenaBytes,
                            std::string& error) {
    PageMeter pages;
    ZKL::vLinearAllocator arena;
    arena.SetBackendAllocator(pages, kLoadingOwner, 0);
    ZKL::vMemoryResource memory(&arena);
    Model model(&memory);
    ZKL::vRefPtr<Mesh> mesh;
    if (LoadModel(path, model, error)) {
        mesh = Mesh::Build(model, error);
    }
    arenaBytes = pages.Bytes();
    if (!mesh) {
        error = path + ": " + error;
    }
    return mesh;
}

bool WriteText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    return static_cast<bool>(file << text << std::flush);
}

struct Summaries {
    std::string text;
    std::string json;
};

// Renders with all services up; fills `summary`.
bool Render(const Options& options, const ZKL::vRefPtr<Mesh>& mesh, std::uint64_t loadingBytes,
            WorkerService& workers, Summaries& summary, std::string& error) {
    RunRecord record;
    record.model = options.model;
    record.triangles = mesh->ModelTriangleCount();
    record.width = options.width;
    record.height = options.height;
    Renderer renderer(options, mesh, workers);
    if (!renderer.Run(record, error)) {
        return false;
    }
    record.memory = MemoryMeter::Instance().Read();
    record.residentBytes = PeakResidentBytes();
    renderer.Read(record.allocators);
    record.allocators.loadingBytes = loadingBytes;
    std::uint32_t jobs[kStageCount];
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        jobs[i] = renderer.JobCount(static_cast<Stage>(i));
    }
    summary = {WriteSummary(record, jobs), WriteSummaryJson(record, jobs)};
    return true;
}

// Brings the services up, renders, and takes them down again.
int RunServices(const Options& options, const ZKL::vRefPtr<Mesh>& mesh,
                std::uint64_t loadingBytes) {
    ZKL::vLifeCycleManager services;
    auto* const workers = new WorkerService(options.workers);
    const std::pair<ZKL::vLifeCycleModule*, const char*> all[] = {
        {new ZKL::vLoggerLifeCycle, "log flusher"},
        {new LogService(options), "log channels"},
        {new ProfilerService(options), "profiler"},
        {new TaskService, "task manager"},
        {workers, "workers"},
    };
    for (const auto& [service, name] : all) {
        services.RegisterModule(service, name);
    }

    Summaries summary;
    std::string error;
    bool done = services.InitializeModules();
    if (done) {
        ZKL::LogDefault(ZKL::vLogger::eRelease,
                        "Rendering %" PRIu32 " frames of %s with %" PRIu32 " workers",
                        options.frames, options.model.c_str(), workers->WorkerCount());
        done = Render(options, mesh, loadingBytes, *workers, summary, error);
    } else {
        error = "a service does not start; the log names it";
        // TerminateModules acts only once all have started.
        std::for_each(std::rbegin(all), std::rend(all), [](const auto& entry) {
            if (entry.first->IsInitialized()) {
                entry.first->Terminate();
            }
        });
    }
    if (!services.TerminateModules() && done) {
        done = false;
        error = "a service failed at the end; the trace may be missing";
    }
    services.Finalize();
    if (!done) {
        return Fail(error);
    }
    std::fputs(summary.text.c_str(), stdout);
    for (const auto& [name, text] :
         {std::pair("/summary.txt", &summary.text), std::pair("/summary.json", &summary.json)}) {
        if (!WriteText(options.out + name, *text)) {
            return Fail(options.out + name + ": cannot be written");
        }
    }
    return 0;
}

}  // namespace

int RunApp(const Options& options) {
    if (ZKL::vKernelModule::Initialize({}) < 0) {
        return Fail("the kernel does not start");
    }
    // Before the first arena is built.
    ZKL::InitAllocator();
    std::string error;
    std::uint64_t loadingBytes = 0;
    const ZKL::vRefPtr<Mesh> mesh = LoadMesh(options.model, loadingBytes, error);
    int result = 0;
    if (!mesh) {
        result = Fail(error);
    } else {
        std::error_code code;
        std::filesystem::create_directories(options.out, code);
        result = code ? Fail(options.out + ": " + code.message())
                      : RunServices(options, mesh, loadingBytes);
    }
    ZKL::DestroyAllocator();
    ZKL::vKernelModule::Clean();
    ZKL::vKernelModule::Terminate();
    return result;
}

}  // namespace frame
