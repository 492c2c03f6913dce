// Log lines to a file, every one flushed, beside spdlog and stdio doing the same. Each line is
// "[INFO]\t : loaded mesh <name>: <n> triangles, pass <n>\n".

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "support/AllocationCount.h"

namespace {

constexpr int kBurst = 4096;  // half of spdlog's queue, so that neither logger waits for room
constexpr int kLinesPerThread = 20000;

// The folder of all contenders' files; it goes with the program.
class Folder {
public:
    Folder() { std::filesystem::create_directories(path_); }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    // A file that nobody has written to yet.
    std::string FreshFile() { return (path_ / std::to_string(next_++)).string(); }

private:
    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() /
        ("bench-log-" +
         std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    int next_ = 0;
};

std::string FreshFile() {
    static Folder s_folder;
    return s_folder.FreshFile();
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Each contender has Line(i), which logs one line, and Drain(), which waits until all is written.

class OursAsync {
public:
    OursAsync() {
        ZKL::vLoggerManager::GetInstance()
            .GetLogger(ZKL::vLoggerManager::eRufx)
            .SetOutput(FreshFile().c_str());
        lifeCycle_.Initialize();
    }
    ~OursAsync() { lifeCycle_.Terminate(); }
    static void Line(int i) {
        ZKL::LogRufx(ZKL::vLogger::eInfo, "loaded mesh %s: %d triangles, pass %d", "spider_body", i,
                     i & 7);
    }
    void Drain() {
        lifeCycle_.Terminate();
        lifeCycle_.Initialize();
    }

private:
    ZKL::vLoggerLifeCycle lifeCycle_;
};

class OursSync {
public:
    OursSync() {
        ZKL::vLoggerManager::GetInstance()
            .GetLogger(ZKL::vLoggerManager::eRufx)
            .SetOutput(FreshFile().c_str());
    }
    static void Line(int i) { OursAsync::Line(i); }
    void Drain() {}
};

class Spdlog {
public:
    void Line(int i) {
        logger_->info("loaded mesh {}: {} triangles, pass {}", "spider_body", i, i & 7);
    }

    void SwitchOff() { logger_->set_level(spdlog::level::off); }

protected:
    void Use(std::shared_ptr<spdlog::logger> logger) {
        logger_ = std::move(logger);
        logger_->set_pattern("[%l]\t : %v");
        logger_->flush_on(spdlog::level::trace);
    }
    static auto Sink() {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(FreshFile(), true);
    }

private:
    std::shared_ptr<spdlog::logger> logger_;
};

class SpdlogAsync : public Spdlog {
public:
    SpdlogAsync() { Use(std::make_shared<spdlog::async_logger>("bench", Sink(), pool_)); }
    void Drain() {
        while (pool_->queue_size() > 0) {
            std::this_thread::yield();
        }
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> pool_ =
        std::make_shared<spdlog::details::thread_pool>(8192, 1);
};

class SpdlogSync : public Spdlog {
public:
    SpdlogSync() { Use(std::make_shared<spdlog::logger>("bench", Sink())); }
    void Drain() {}
};

class Stdio {
public:
    Stdio() : file_(std::fopen(FreshFile().c_str(), "w+")) {}
    ~Stdio() { std::fclose(file_); }
    void Line(int i) {
        std::fprintf(file_, "[INFO]\t : loaded mesh %s: %d triangles, pass %d\n", "spider_body", i,
                     i & 7);
        std::fflush(file_);
    }
    void Drain() {}

private:
    std::FILE* file_;
};

class FormattingAlone {
public:
    void Line(int i) {
        std::snprintf(text_, sizeof(text_), "[INFO]\t : loaded mesh %s: %d triangles, pass %d\n",
                      "spider_body", i, i & 7);
        benchmark::DoNotOptimize(text_);
    }
    void Drain() {}

private:
    char text_[256];
};

// The time that the calls take, without the writing that goes on behind them.
template <typename Contender>
void Burst(benchmark::State& state) {
    Contender contender;
    for (int i = 0; i < kBurst; ++i) {
        contender.Line(i);
    }
    contender.Drain();
    std::size_t allocations = 0;
    for (auto _ : state) {
        const std::size_t before = bench::AllocationsOfThisThread();
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kBurst; ++i) {
            contender.Line(i);
        }
        state.SetIterationTime(SecondsSince(start));
        allocations += bench::AllocationsOfThisThread() - before;
        contender.Drain();
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
    state.counters["allocs"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations() * kBurst);
}
BENCHMARK(Burst<OursAsync>)->Name("log_async_call/ours")->UseManualTime();
BENCHMARK(Burst<SpdlogAsync>)->Name("log_async_call/spdlog_async")->UseManualTime();
BENCHMARK(Burst<FormattingAlone>)->Name("log_async_call/snprintf_alone")->UseManualTime();

// From the first call to the last line in the file.
template <typename Contender>
void TwoThreads(benchmark::State& state) {
    Contender contender;
    const auto logAll = [&contender] {
        for (int i = 0; i < kLinesPerThread; ++i) {
            contender.Line(i);
        }
    };
    for (auto _ : state) {
        std::thread other(logAll);
        logAll();
        other.join();
        contender.Drain();
    }
    state.SetItemsProcessed(state.iterations() * 2 * kLinesPerThread);
}
BENCHMARK(TwoThreads<OursAsync>)->Name("log_two_threads/ours")->UseRealTime();
BENCHMARK(TwoThreads<SpdlogAsync>)->Name("log_two_threads/spdlog_async")->UseRealTime();
BENCHMARK(TwoThreads<SpdlogSync>)->Name("log_two_threads/spdlog_sync")->UseRealTime();

template <typename Contender>
void Synchronous(benchmark::State& state) {
    Contender contender;
    int i = 0;
    for (auto _ : state) {
        contender.Line(i++);
    }
}
BENCHMARK(Synchronous<OursSync>)->Name("log_sync_flushed/ours");
BENCHMARK(Synchronous<Stdio>)->Name("log_sync_flushed/fprintf_fflush");
BENCHMARK(Synchronous<SpdlogSync>)->Name("log_sync_flushed/spdlog_sync");

void Filtered(benchmark::State& state) {
    ZKL::vLogger& logger = ZKL::vLoggerManager::GetInstance().GetLogger(ZKL::vLoggerManager::eRufx);
    logger.SetLevel(ZKL::vLogger::eError);
    int i = 0;
    for (auto _ : state) {
        OursSync::Line(i++);
    }
    logger.SetLevel(ZKL::vLogger::eDebug);
}
BENCHMARK(Filtered)->Name("log_filtered/ours");

void FilteredSpdlog(benchmark::State& state) {
    SpdlogSync contender;
    contender.SwitchOff();
    int i = 0;
    for (auto _ : state) {
        contender.Line(i++);
    }
}
BENCHMARK(FilteredSpdlog)->Name("log_filtered/spdlog_sync");

}  // namespace
