#include "Summary.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <numeric>

#include "JsonText.h"
#include "ZelREKernel/base/vPrintfFormat.h"
#include "ZelREKernel/json/vJSONObject.h"

namespace frame {
namespace {

void Print(std::string& text, const char* format, ...) ZKL_PRINTF_FORMAT(2, 3);

void Print(std::string& text, const char* format, ...) {
    char line[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    text += line;
}

double MebiBytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

struct Column {
    double mean;
    double p95;
};

Column Summarise(const RunRecord& run, std::uint32_t stage, double StageTime::*member) {
    std::vector<double> values;
    for (const StageTimes& times : run.frames) {
        values.push_back(times[stage].*member);
    }
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    return {sum / static_cast<double>(std::max<std::size_t>(values.size(), 1)),
            Percentile95(values)};
}

void PrintAllocators(std::string& text, const AllocatorFigures& figures) {
    const BufferPool::Figures& buffers = figures.buffers;
    Print(text, "Loading arena      %.0f MiB of pages\n", MebiBytes(figures.loadingBytes));
    Print(text, "Frame arenas       %.2f MiB per frame\n", MebiBytes(figures.frameBytes));
    Print(text, "Buffers, textures  %.2f MiB in %.0f MiB of pages\n", MebiBytes(buffers.usedBytes),
          MebiBytes(buffers.pageBytes));
    Print(text, "  free ranges      %" PRIu64 ", fragmentation %.2f (%.2f while loading)\n",
          buffers.freeRanges, static_cast<double>(buffers.fragmentation),
          static_cast<double>(figures.fragmentationAtLoading));
    Print(text, "Draw items         %" PRIu32 " with %" PRIu64 " identifiers\n", figures.drawItems,
          figures.ids);
    Print(text, "  free ranges      %" PRIu32 ", fragmentation %.2f\n", figures.freeIdRanges,
          static_cast<double>(figures.idFragmentation));
}

}  // namespace

double Percentile95(std::vector<double>& values) {
    if (values.empty()) {
        return 0.0;
    }
    const std::size_t rank = (values.size() * 95 + 99) / 100 - 1;
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

std::string WriteSummary(const RunRecord& run, const std::uint32_t (&jobs)[kStageCount]) {
    const auto frames = static_cast<double>(run.frames.size());
    std::string text;
    text += "Model              " + run.model + "\n";
    Print(text, "Triangles          %" PRIu32 "\n", run.triangles);
    Print(text, "Picture            %" PRIu32 "x%" PRIu32 ", 4 samples per pixel\n", run.width,
          run.height);
    Print(text, "Workers            %" PRIu32 " and a presenter\n", run.workers);
    Print(text, "Frames             %zu in %.2f s\n", run.frames.size(), run.seconds);
    Print(text, "Frames per second  %.1f (%.2f ms each)\n", frames / run.seconds,
          run.seconds * 1000.0 / frames);
    Print(text, "Jobs per frame     %" PRIu32 "\n\n", run.jobsPerFrame);

    text += "                     wall time, ms      work, ms\n";
    text += "Stage       jobs     mean      p95     mean      p95\n";
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        const Column span = Summarise(run, i, &StageTime::spanMs);
        const Column work = Summarise(run, i, &StageTime::workMs);
        Print(text, "%-10s %5" PRIu32 " %8.3f %8.3f %8.3f %8.3f\n",
              StageName(static_cast<Stage>(i)), jobs[i], span.mean, span.p95, work.mean, work.p95);
    }

    Print(text, "\nResident memory    %.1f MiB at most\n", MebiBytes(run.residentBytes));
    Print(text, "Allocator          %.2f MiB at most, %" PRIu64 " blocks in all\n",
          MebiBytes(run.memory.peakBytes), run.memory.blocks);
    PrintAllocators(text, run.allocators);
    Print(text, "Last picture       %016" PRIx64 "\n", run.lastPicture);
    Print(text, "All pictures       %016" PRIx64 "\n", run.allPictures);
    return text;
}

namespace {

std::string Hexadecimal(std::uint64_t number) {
    std::string text;
    Print(text, "%016" PRIx64, number);
    return text;
}

ZKL::vSmartPtr<ZKL::vJSONObject> NewObject() {
    ZKL::vSmartPtr<ZKL::vJSONObject> object = ZKL::vJSONObject::Create();
    if (!object) {
        throw std::bad_alloc();
    }
    return object;
}

ZKL::vJSONArray StagesOf(const RunRecord& run, const std::uint32_t (&jobs)[kStageCount]) {
    ZKL::vJSONArray stages;
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        const Column span = Summarise(run, i, &StageTime::spanMs);
        const Column work = Summarise(run, i, &StageTime::workMs);
        const ZKL::vSmartPtr<ZKL::vJSONObject> stage = NewObject();
        stage->PushEntry("name", StageName(static_cast<Stage>(i)))
            .PushEntry("jobs", static_cast<int>(jobs[i]))
            .PushEntry("wallMsMean", static_cast<float>(span.mean))
            .PushEntry("wallMsP95", static_cast<float>(span.p95))
            .PushEntry("workMsMean", static_cast<float>(work.mean))
            .PushEntry("workMsP95", static_cast<float>(work.p95));
        stages.PushValue(stage);
    }
    return stages;
}

ZKL::vSmartPtr<ZKL::vJSONObject> BuffersOf(const AllocatorFigures& figures) {
    ZKL::vSmartPtr<ZKL::vJSONObject> buffers = NewObject();
    buffers->PushEntry("usedMiB", static_cast<float>(MebiBytes(figures.buffers.usedBytes)))
        .PushEntry("pagesMiB", static_cast<float>(MebiBytes(figures.buffers.pageBytes)))
        .PushEntry("pages", static_cast<int>(figures.buffers.pages))
        .PushEntry("freeRanges", static_cast<int>(figures.buffers.freeRanges))
        .PushEntry("fragmentation", figures.buffers.fragmentation)
        .PushEntry("fragmentationAtLoading", figures.fragmentationAtLoading);
    return buffers;
}

ZKL::vSmartPtr<ZKL::vJSONObject> DrawItemsOf(const AllocatorFigures& figures) {
    ZKL::vSmartPtr<ZKL::vJSONObject> items = NewObject();
    items->PushEntry("count", static_cast<int>(figures.drawItems))
        .PushEntry("identifiers", static_cast<int>(figures.ids))
        .PushEntry("freeRanges", static_cast<int>(figures.freeIdRanges))
        .PushEntry("fragmentation", figures.idFragmentation);
    return items;
}

}  // namespace

std::string WriteSummaryJson(const RunRecord& run, const std::uint32_t (&jobs)[kStageCount]) {
    const ZKL::vSmartPtr<ZKL::vJSONObject> memory = NewObject();
    memory->PushEntry("residentMiB", static_cast<float>(MebiBytes(run.residentBytes)))
        .PushEntry("allocatorMiB", static_cast<float>(MebiBytes(run.memory.peakBytes)))
        .PushEntry("blocks", static_cast<float>(run.memory.blocks))
        .PushEntry("loadingArenaMiB", static_cast<float>(MebiBytes(run.allocators.loadingBytes)))
        .PushEntry("frameArenaMiB", static_cast<float>(MebiBytes(run.allocators.frameBytes)))
        .PushEntry("buffers", BuffersOf(run.allocators))
        .PushEntry("drawItems", DrawItemsOf(run.allocators));
    const ZKL::vSmartPtr<ZKL::vJSONObject> summary = NewObject();
    // The builder escapes backslashes alone, so a file's name is made clean here.
    summary->PushEntry("model", Printable(run.model).c_str())
        .PushEntry("triangles", static_cast<int>(run.triangles))
        .PushEntry("width", static_cast<int>(run.width))
        .PushEntry("height", static_cast<int>(run.height))
        .PushEntry("workers", static_cast<int>(run.workers))
        .PushEntry("frames", static_cast<int>(run.frames.size()))
        .PushEntry("seconds", static_cast<float>(run.seconds))
        .PushEntry("jobsPerFrame", static_cast<int>(run.jobsPerFrame))
        .PushEntry("stages", StagesOf(run, jobs))
        .PushEntry("memory", memory)
        .PushEntry("lastPicture", Hexadecimal(run.lastPicture).c_str())
        .PushEntry("allPictures", Hexadecimal(run.allPictures).c_str());
    std::string text;
    summary->Serialize(text);
    return text + '\n';
}

}  // namespace frame
