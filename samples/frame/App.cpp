#include "App.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "Host.h"
#include "MemoryMeter.h"
#include "Model.h"
#include "Renderer.h"
#include "Services.h"
#include "ZelREKernel/core/vKernelModule.h"
#include "ZelREKernel/core/vLifeCycleManager.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/memory/vPageAllocator.h"

namespace frame {
namespace {

int Fail(const std::string& line) {
    std::fprintf(stderr, "frame: %s\n", line.c_str());
    return 1;
}

ZKL::vRefPtr<Mesh> LoadMesh(const std::string& path, std::string& error) {
    Model model;
    ZKL::vRefPtr<Mesh> mesh;
    if (LoadModel(path, model, error)) {
        mesh = Mesh::Build(model, error);
    }
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
bool Render(const Options& options, const ZKL::vRefPtr<Mesh>& mesh, WorkerService& workers,
            Summaries& summary, std::string& error) {
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
    record.pageBytes = renderer.PageBytes();
    std::uint32_t jobs[kStageCount];
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        jobs[i] = renderer.JobCount(static_cast<Stage>(i));
    }
    summary = {WriteSummary(record, jobs), WriteSummaryJson(record, jobs)};
    return true;
}

// Brings the services up, renders, and takes them down again.
int RunServices(const Options& options, const ZKL::vRefPtr<Mesh>& mesh) {
    ZKL::vLifeCycleManager services;
    auto* const workers = new WorkerService(options.workers);
    services.RegisterModule(new ZKL::vLoggerLifeCycle, "log flusher");
    services.RegisterModule(new LogService(options), "log channels");
    services.RegisterModule(new MemoryService, "memory");
    services.RegisterModule(new ProfilerService(options), "profiler");
    services.RegisterModule(new TaskService, "task manager");
    services.RegisterModule(workers, "workers");

    Summaries summary;
    std::string error;
    bool done = services.InitializeModules();
    if (done) {
        ZKL::LogDefault(ZKL::vLogger::eRelease,
                        "Rendering %" PRIu32 " frames of %s with %" PRIu32 " workers",
                        options.frames, options.model.c_str(), workers->WorkerCount());
        done = Render(options, mesh, *workers, summary, error);
    } else {
        error = "a service does not start; the log names it";
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
    std::string error;
    const ZKL::vRefPtr<Mesh> mesh = LoadMesh(options.model, error);
    int result = 0;
    if (!mesh) {
        result = Fail(error);
    } else {
        std::error_code code;
        std::filesystem::create_directories(options.out, code);
        result = code ? Fail(options.out + ": " + code.message()) : RunServices(options, mesh);
    }
    ZKL::vKernelModule::Clean();
    ZKL::vKernelModule::Terminate();
    return result;
}

}  // namespace frame
