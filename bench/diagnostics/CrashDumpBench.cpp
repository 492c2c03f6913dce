// A dump of a process that has touched 1 GiB, beside writing that memory to a file of the same
// disk. Neither waits until the disk has it all.

#include <MekHost/process/MekEnvironment.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "ZelREKernel/diagnostics/vCrashHandling.h"

namespace {

namespace files = std::filesystem;

const std::vector<char>& Touched() {
    static const std::vector<char> s_touched(std::size_t{1} << 30, 'x');
    return s_touched;
}

// A folder that goes with everything in it.
class Folder {
public:
    Folder() { files::create_directories(path_); }
    ~Folder() { files::remove_all(path_); }
    const files::path& Path() const { return path_; }

private:
    files::path path_ = files::current_path() / "crash-dump-bench";
};

void WriteTouched(const Folder& folder) {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    const std::vector<char>& touched = Touched();
    std::FILE* const file = std::fopen((folder.Path() / "memory").string().c_str(), "wb");
    std::setvbuf(file, nullptr, _IONBF, 0);
    for (std::size_t at = 0; at < touched.size(); at += kPiece) {
        std::fwrite(&touched[at], 1, kPiece, file);
    }
    std::fclose(file);
}

// The first file pays for the memory that the system keeps it in.
void WarmUp() {
    static const bool s_isWarm = (WriteTouched(Folder()), WriteTouched(Folder()), true);
    benchmark::DoNotOptimize(s_isWarm);
}

void Dump(benchmark::State& state) {
    WarmUp();
    for (auto _ : state) {
        state.PauseTiming();
        const Folder folder;
        MekPutEnv(("ZelCrashDumpDirectory=" + folder.Path().string()).c_str());
        state.ResumeTiming();
        ZKL::CreateMiniDump();
        state.PauseTiming();
        if (files::is_empty(folder.Path())) {
            state.SkipWithError("no dump: dumps go to drive E: on Windows");
        }
        state.ResumeTiming();
    }
}

void Write(benchmark::State& state) {
    WarmUp();
    for (auto _ : state) {
        state.PauseTiming();
        const Folder folder;
        state.ResumeTiming();
        WriteTouched(folder);
        state.PauseTiming();
        files::remove_all(folder.Path());
        state.ResumeTiming();
    }
}

BENCHMARK(Dump)
    ->Name("dump/ours/1GiB")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Write)
    ->Name("dump/write/1GiB")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
