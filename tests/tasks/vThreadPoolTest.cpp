#include "ZelREKernel/tasks/vThreadPool.h"

#include <MekHost/system/MekEvent.h>
#include <MekHost/system/RudSysJob.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "support/ScopedCheckHandler.h"
#include "support/WaitUntil.h"

namespace {

using ZKL::vRefPtr;
using ZKL::vThreadPool;
using ZKL::TP::vTask;

std::atomic<int> s_liveJobs = 0;

class FunctionJob final : public RudSysJob {
public:
    explicit FunctionJob(std::function<void()> work) : work_(std::move(work)) { ++s_liveJobs; }

private:
    ~FunctionJob() override { --s_liveJobs; }
    std::int32_t Execute() override {
        work_();
        return 0;
    }

    std::function<void()> work_;
};

vRefPtr<vTask> MakeTask(std::function<void()> work, MekEvent* event = nullptr) {
    auto* const job = new FunctionJob(std::move(work));
    job->SetWaitingEvent(event);
    return vRefPtr<vTask>(new vTask(job));
}

class vThreadPoolTest : public testing::TestWithParam<unsigned> {
protected:
    void TearDown() override { EXPECT_EQ(s_liveJobs, 0); }
};

INSTANTIATE_TEST_SUITE_P(Threads, vThreadPoolTest, testing::Values(1u, 2u, 8u, 64u));

TEST_P(vThreadPoolTest, JobsOfSeveralProducersRunOnceEach) {
    constexpr std::size_t kProducers = 4;
    constexpr std::size_t kJobs = 500;
    std::vector<std::atomic<int>> runs(kProducers * kJobs);
    std::atomic<std::size_t> left = kProducers * kJobs;
    const std::unique_ptr<MekEvent> done(CreateMekEvent(0));
    vThreadPool pool(GetParam());
    std::vector<std::thread> producers;
    for (std::size_t p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (std::size_t i = 0; i < kJobs; ++i) {
                pool.AddTask(MakeTask([&, at = p * kJobs + i] {
                    ++runs[at];
                    if (--left == 0) {
                        done->Signal(0);
                    }
                }));
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    WaitForSingleEvent(done.get(), -1);
    pool.Stop();
    EXPECT_TRUE(std::all_of(runs.begin(), runs.end(), [](const auto& n) { return n == 1; }));
}

TEST_P(vThreadPoolTest, EndsWithJobsQueuedAndReleasesThem) {
    for (const bool stopFirst : {false, true}) {
        std::atomic<unsigned> ran = 0;
        {
            vThreadPool pool(GetParam());
            for (int i = 0; i < 300; ++i) {
                pool.AddTask(MakeTask([&] { ++ran; }));
            }
            if (stopFirst) {
                pool.Stop();
                pool.Stop();
                const unsigned before = ran;
                for (int i = 0; i < 100; ++i) {
                    pool.AddTask(MakeTask([&] { ++ran; }));
                }
                EXPECT_EQ(ran, before);
                EXPECT_EQ(s_liveJobs, static_cast<int>(400 - before));
            }
        }
        EXPECT_LE(ran, 300u);
        EXPECT_EQ(s_liveJobs, 0);
    }
}

TEST_F(vThreadPoolTest, OneThreadTakesFirstInFirstOut) {
    std::vector<int> order;
    const std::unique_ptr<MekEvent> done(CreateMekEvent(0));
    vThreadPool pool(1);
    for (int i = 0; i < 100; ++i) {
        pool.AddTask(MakeTask([&, i] { order.push_back(i); }, i == 99 ? done.get() : nullptr));
    }
    WaitForSingleEvent(done.get(), -1);
    pool.Stop();
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

// Records what happens to a job, in order, by its words.
struct Story {
    std::mutex mutex;
    std::string words;
    void Tell(const char* word) {
        const std::lock_guard guard(mutex);
        words += word;
    }
    bool Ends(const char* word) {
        const std::lock_guard guard(mutex);
        return words.ends_with(word);
    }
};

class StoryEvent final : public MekEvent {
public:
    explicit StoryEvent(Story& story) : story_(story) {}
    std::int32_t Signal(int) override {
        story_.Tell("signalled ");
        return 0;
    }
    std::int32_t Reset() override { return 0; }
    bool IsSignalled() const override { return false; }
    int Reason() const override { return 0; }

private:
    Story& story_;
};

TEST_F(vThreadPoolTest, ATaskRunsItsJobThenSignalsThenReleasesAsOftenAsItIsQueued) {
    Story story;
    StoryEvent event(story);
    auto* const job = new FunctionJob([&story, told = std::shared_ptr<Story>(&story, [](Story* s) {
                                                   s->Tell("released");
                                               })] { story.Tell("executed "); });
    job->SetWaitingEvent(&event);
    const vRefPtr<vTask> task(new vTask(job));
    EXPECT_EQ(task->GetJob(), job);
    job->AddReferenceJob();
    vThreadPool pool(1);
    pool.AddTask(task);
    pool.AddTask(task);
    pool.AddTask(vRefPtr<vTask>(new vTask(nullptr)));
    EXPECT_TRUE(test::WaitUntil([&] { return story.Ends("released"); }));
    pool.Stop();
    EXPECT_EQ(story.words, "executed signalled executed signalled released");
}

}  // namespace
