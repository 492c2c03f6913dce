#include "ZelREKernel/tasks/vPooledTask.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tasks/TaskLeakCheck.h"

namespace {

using ZKL::vTaskDetail::CountJobRecords;
using ZKL::vTaskDetail::vJobHandle;
using ZKL::vTaskDetail::vPooledTask;

class vPooledTaskTest : public TaskLeakCheck {};

// A callable of the given size that adds up its bytes.
template <std::size_t kSize>
struct Sized {
    int* sum;
    std::array<unsigned char, kSize - sizeof(int*)> bytes{};

    void operator()() {
        for (const unsigned char byte : bytes) {
            *sum += byte;
        }
    }
};

// Makes, copies and runs a job of that size; returns the records that the job alone took.
template <std::size_t kSize>
std::int64_t RecordsOf() {
    int sum = 0;
    Sized<kSize> callable{&sum};
    callable.bytes.fill(1);
    const std::int64_t before = CountJobRecords().live;
    vJobHandle job = vPooledTask::Create(callable);
    const std::int64_t records = CountJobRecords().live - before;
    vPooledTask copy(*job);
    (*job)();
    job.reset();
    copy();
    EXPECT_EQ(sum, 2 * static_cast<int>(callable.bytes.size()));
    copy.Reset();
    EXPECT_EQ(CountJobRecords().live, before);
    return records;
}

TEST_F(vPooledTaskTest, CallablesOfARecordsSizeNeedNoHeap) {
    EXPECT_EQ(RecordsOf<16>(), 1);
    EXPECT_EQ(RecordsOf<24>(), 2);
    EXPECT_EQ(RecordsOf<64>(), 2);
    EXPECT_EQ(RecordsOf<80>(), 2);
    EXPECT_EQ(RecordsOf<81>(), 1);  // on the heap
    const std::string text = "a text that does not fit into a string object";
    std::string got;
    (*vPooledTask::Create([&got, text] { got = text; }))();
    EXPECT_EQ(got, text);
}

TEST_F(vPooledTaskTest, RecordsAreAlignedForVectors) {
    struct alignas(16) Vector {
        float numbers[4];
    };
    std::vector<vJobHandle> jobs;
    int misaligned = 0;
    for (int i = 0; i < 500; ++i) {
        jobs.push_back(vPooledTask::Create([&misaligned, vector = Vector{}] {
            const void* volatile address = &vector;  // the compiler takes the alignment for granted
            misaligned += reinterpret_cast<std::uintptr_t>(address) % alignof(Vector) != 0;
        }));
        (*jobs.back())();
    }
    EXPECT_EQ(misaligned, 0);
}

TEST_F(vPooledTaskTest, EmptyFunctionsThrow) {
    for (vJobHandle& job :
         std::array{vPooledTask::CreateNode({}), vPooledTask::Create(std::function<void()>())}) {
        EXPECT_FALSE(*job);
        EXPECT_THROW((*job)(), std::bad_function_call);
        *job = [] {};
        EXPECT_TRUE(*job);
        job->Reset();
        EXPECT_FALSE(*job);
    }
}

// A thread's free records are for others when it ends, and those it gave away come back to use.
TEST_F(vPooledTaskTest, EndingThreadsLoseNoRecords) {
    std::uint64_t blocks = 0;
    for (int round = 0; round < 20; ++round) {
        std::vector<vJobHandle> jobs;
        std::thread([&] {
            for (int i = 0; i < 1000; ++i) {
                jobs.push_back(vPooledTask::CreateNode({}));
            }
            jobs.resize(500);
        }).join();
        jobs.clear();
        if (round == 5) {
            blocks = CountJobRecords().blocks;
        }
    }
    // This thread keeps a different few at hand each time, at most eight blocks' worth.
    EXPECT_LE(CountJobRecords().blocks, blocks + 8);
    EXPECT_EQ(CountJobRecords().live, 0);
}

// A deep pool is put in the order of memory: given back all over the place, records come again in
// rising order, each once.
TEST_F(vPooledTaskTest, ManyRecordsComeBackInTheOrderOfMemory) {
    constexpr std::size_t kRecords = 100'003;
    std::vector<vJobHandle> jobs(kRecords);
    const auto makeAll = [&] {
        for (vJobHandle& job : jobs) {
            job = vPooledTask::CreateNode({});
        }
    };
    makeAll();
    for (std::size_t i = 0; i < kRecords; ++i) {
        jobs[i * 7919 % kRecords].reset();
    }
    makeAll();
    std::size_t rises = 0;
    std::set<const void*> seen;
    for (std::size_t i = 0; i < kRecords; ++i) {
        rises += i > 0 && jobs[i - 1].get() < jobs[i].get() ? 1U : 0U;
        seen.insert(jobs[i].get());
    }
    EXPECT_EQ(seen.size(), kRecords);
    // Not all: what the thread had at hand, and neighbours in one grain.
    EXPECT_GT(rises, kRecords * 9 / 10);
    jobs.clear();
    EXPECT_EQ(CountJobRecords().live, 0);
}

}  // namespace
