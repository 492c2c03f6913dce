#include "ZelREKernel/tasks/vParallelMemCpy.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/task_group.h>
#include <oneapi/tbb/task_scheduler_observer.h>

#include <atomic>
#include <random>
#include <string>

#include "ZelREKernel/tasks/vThreadPoolManager.h"

namespace {

constexpr std::size_t kGrain = 0x800000;
constexpr std::size_t kStream = 2 * kGrain;
constexpr std::size_t kMargin = 64;

std::string RandomBytes(std::size_t size) {
    std::string bytes(size, 0);
    std::mt19937 random(5);
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

const std::string& Source() {
    static const std::string s_bytes = RandomBytes(kStream + kGrain + kMargin);
    return s_bytes;
}

TEST(ParallelMemCpy, CopiesAllAndNothingElseAtEverySizeAndAlignment) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kGrain - 1, kGrain, kGrain + 1,
                                   kStream - 1, kStream, kStream + 1, kStream + kGrain}) {
        for (const auto& [to, from] : {std::pair{0, 0}, {1, 0}, {0, 1}, {63, 17}, {16, 8}}) {
            std::string copy(size + 2 * kMargin, '#');
            const std::size_t at = static_cast<std::size_t>(to);
            const char* const source = Source().data() + from;
            ZKL::ParallelMemCpy(copy.data() + at, source, size);
            EXPECT_TRUE(copy.compare(0, at, std::string(at, '#')) == 0 &&
                        copy.compare(at, size, source, size) == 0 &&
                        copy.find_first_not_of('#', at + size) == std::string::npos)
                << size << " bytes to " << to << " from " << from;
        }
    }
}

class EntryCount : public tbb::task_scheduler_observer {
public:
    explicit EntryCount(tbb::task_arena& arena) : task_scheduler_observer(arena) { observe(true); }
    ~EntryCount() override { observe(false); }
    void on_scheduler_entry(bool) override { ++entries; }
    std::atomic<int> entries = 0;
};

TEST(ParallelMemCpy, EntersTheArenaFromTheThresholdOn) {
    std::string copy(kGrain, 0);
    const EntryCount count(ZKL::vThreadPoolManager::GetTBBThreadPool(0));
    ZKL::ParallelMemCpy(copy.data(), Source().data(), kGrain - 1);
    EXPECT_EQ(count.entries, 0);
    ZKL::ParallelMemCpy(copy.data(), Source().data(), kGrain);
    EXPECT_GE(count.entries, 1);
}

// A loop that belonged to the task would be skipped with it.
TEST(ParallelMemCpy, IsWholeInATaskThatWasCancelled) {
    std::string copy(kStream, 0);
    tbb::task_group group;
    ZKL::vThreadPoolManager::GetTBBThreadPool(0).execute([&] {
        group.run_and_wait([&] {
            group.cancel();
            ZKL::ParallelMemCpy(copy.data(), Source().data(), kStream);
        });
    });
    EXPECT_TRUE(Source().compare(0, kStream, copy) == 0);
}

}  // namespace
