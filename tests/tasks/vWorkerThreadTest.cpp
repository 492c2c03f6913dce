#include "ZelREKernel/tasks/vWorkerThread.h"

#include <MekHost/system/MekEvent.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "ZelREKernel/tasks/vSynchroNode.h"
#include "tasks/TaskLeakCheck.h"
#include "tasks/vWorkerPool.h"

namespace {

using ZKL::vSmallVector;
using ZKL::vSynchroNode;
using ZKL::vTaskNode;
using ZKL::vWorkerThread;
using ZKL::vTaskDetail::vJobHandle;
using ZKL::vTaskDetail::vPooledTask;
using ZKL::vTaskDetail::vWorkerPool;
using Batch = vSmallVector<vJobHandle, 1, 0>;

// Jobs that write their letters down, and one that keeps a thread busy until the gate opens.
class vWorkerThreadTest : public TaskLeakCheck {
protected:
    vJobHandle Letter(char letter) {
        return vPooledTask::Create([this, letter] {
            const std::lock_guard guard(mutex_);
            ran_ += letter;
        });
    }
    vJobHandle GatedLetter(char letter) {
        return vPooledTask::Create([this, letter] {
            {
                const std::lock_guard guard(mutex_);
                ran_ += letter;
            }
            WaitForSingleEvent(gate_.get(), -1);
        });
    }
    Batch Letters(const std::string& letters) {
        Batch batch;
        for (const char letter : letters) {
            batch.PushBack(Letter(letter));
        }
        return batch;
    }
    void OpenGate() { gate_->Signal(0); }
    void CloseGate() { gate_->Reset(); }
    std::string Ran() {
        const std::lock_guard guard(mutex_);
        return ran_;
    }
    void AwaitRan(std::size_t count) {
        while (Ran().size() < count) {
            std::this_thread::yield();
        }
    }

private:
    std::unique_ptr<MekEvent> gate_{CreateMekEvent(0)};
    std::mutex mutex_;
    std::string ran_;
};

TEST_F(vWorkerThreadTest, SingleThreadServesFirstInFirstOut) {
    vWorkerThread worker;
    EXPECT_TRUE(worker.PostJob(Letter('a')));
    EXPECT_TRUE(worker.PostJob(GatedLetter('b')));
    Batch batch = Letters("cde");
    EXPECT_TRUE(worker.PostJob(std::move(batch)));
    EXPECT_EQ(batch.Size(), 0U);              // NOLINT(bugprone-use-after-move): empty by contract
    worker.PostJob(vPooledTask::Create([&] {  // behind it by now: a batch from another thread
        worker.PostJob(Letter('h'));
        worker.PostJob(Letters("ij"));
    }));
    worker.PostJob(Letter('f'));
    worker.RunSingle();
    AwaitRan(2);
    worker.PostJob(Letter('g'));
    OpenGate();
    worker.WaitForPendingTasks();
    worker.WaitForPendingTasks();  // "hij" may have come behind the first one's own job
    EXPECT_EQ(Ran(), "abcdefghij");
}

TEST_F(vWorkerThreadTest, StopRunsWhatIsQueuedAndWhatThatPosts) {
    vWorkerThread worker;
    worker.RunSingle();
    worker.PostJob(GatedLetter('a'));
    AwaitRan(1);
    worker.PostJob(Letters("bc"));
    worker.PostJob(vPooledTask::Create([&] { worker.PostJob(Letter('e')); }));
    worker.PostJob(Letter('d'));
    worker.StopThread();
    OpenGate();
    worker.Join();
    EXPECT_EQ(Ran(), "abcde");
    worker.StopThread();
    worker.Join();
    EXPECT_TRUE(worker.PostJob(Letter('x')));  // nobody runs it; the destructor destroys it
}

TEST_F(vWorkerThreadTest, DestructionDestroysUnservedJobsUnrun) {
    for (const bool withPool : {false, true}) {
        auto worker = std::make_unique<vWorkerThread>();
        if (withPool) {
            worker->RunPool(0);
        }
        // The end of an unrun job completes its node, whose dependent posts to the dying worker.
        auto first = vTaskNode::CreateNode(worker.get());
        auto second = vTaskNode::CreateNode(worker.get());
        first->AddTask(Letter('x'));
        second->AddTask(Letter('x'));
        second->AddDependency(first.Get());
        vSynchroNode done(second.Get());
        second.Reset();
        first.Reset();
        worker->PostJob(Letters("xx"));
        worker.reset();
        EXPECT_EQ(done.Wait(0), 0);
    }
    EXPECT_EQ(Ran(), "");
}

// What the only thread posts itself and what others post meanwhile are one stack.
TEST_F(vWorkerThreadTest, OneStackForPostsFromInsideAndOutside) {
    vWorkerThread worker;
    worker.RunPool(1);
    worker.PostJob(vPooledTask::Create([&] {
        worker.PostJob(Letters("ab"));
        std::thread([&] { worker.PostJob(Letters("cd")); }).join();
        worker.PostJob(Letter('e'));
        std::thread([&] { worker.PostJob(Letter('f')); }).join();
    }));
    AwaitRan(6);
    EXPECT_EQ(Ran(), "fedcba");
}

// A thread that holds a job for itself must not run anything that may wait for it.
TEST_F(vWorkerThreadTest, DirectJobMayWaitForAJobLaunchedBeforeIt) {
    vWorkerThread worker;
    worker.RunPool(2);
    auto first = vTaskNode::CreateNode(&worker);
    auto opens = vTaskNode::CreateNode(&worker);
    auto waits = vTaskNode::CreateNode(nullptr);
    first->AddTask(Letter('a'));
    opens->AddTask(vPooledTask::Create([&] { OpenGate(); }));
    waits->AddTask(GatedLetter('b'));
    opens->AddDependency(first.Get());
    waits->AddDependency(first.Get());
    vSynchroNode done(waits.Get());
    opens.Reset();
    waits.Reset();
    first.Reset();
    EXPECT_EQ(done.Wait(-1), 0);
    EXPECT_EQ(Ran(), "ab");
}

// Jobs go to the sleeping threads first, a batch from its end, and the rest waits on the stack.
TEST_F(vWorkerThreadTest, SleepingThreadsAreServedBeforeTheStack) {
    for (const bool asBatch : {false, true}) {
        vWorkerPool pool(2);
        while (pool.CountAsleep() != 2) {
            std::this_thread::yield();
        }
        const std::size_t before = Ran().size();
        Batch batch;
        for (const char letter : {'a', 'b', 'c'}) {
            batch.PushBack(GatedLetter(letter));
        }
        if (asBatch) {
            pool.Post(batch);
        } else {
            for (vJobHandle& job : batch) {
                pool.Post(std::move(job));
            }
        }
        AwaitRan(before + 2);
        EXPECT_EQ(pool.CountAsleep(), 0U);
        std::string started = Ran().substr(before);
        EXPECT_EQ(started.find(asBatch ? 'a' : 'c'), std::string::npos) << started;
        OpenGate();
        AwaitRan(before + 3);
        pool.Stop();
        CloseGate();
    }
}

TEST_F(vWorkerThreadTest, KnowsItsThreadAndRefusesToJoinIt) {
    vWorkerThread worker;
    worker.Join();  // no thread yet
    worker.RunSingle();
    EXPECT_FALSE(worker.IsInThread());
    bool inThread = false;
    std::error_code code;
    worker.PostJob(vPooledTask::Create([&] {
        inThread = worker.IsInThread();
        try {
            worker.Join();
        } catch (const std::system_error& error) {
            code = error.code();
        }
    }));
    worker.WaitForPendingTasks();
    EXPECT_TRUE(inThread);
    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

TEST(vWorkerThreadDeathTest, SecondThreadEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            vWorkerThread worker;
            worker.RunSingle();
            worker.RunSingle();
        },
        "");
}

// A node whose job makes the next one, for as long as there is a process.
void RunForEver(vWorkerThread& worker) {
    const auto node = vTaskNode::CreateNode(&worker);
    node->AddTask(vPooledTask::Create([&worker] { RunForEver(worker); }));
}

[[noreturn]] void EndUnderWorkers() {
    static vWorkerThread* const s_workers[] = {new vWorkerThread, new vWorkerThread};
    s_workers[0]->RunSingle();
    s_workers[1]->RunPool(2);
    for (vWorkerThread* const worker : s_workers) {
        for (int i = 0; i < 100; ++i) {
            RunForEver(*worker);
        }
    }
    std::exit(0);
}

TEST(vWorkerThreadDeathTest, AProcessMayEndUnderWorkersAtWork) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (int i = 0; i < 20; ++i) {
        EXPECT_EXIT(EndUnderWorkers(), testing::ExitedWithCode(0), "");
    }
}

TEST_F(vWorkerThreadTest, ManyPostersLoseNothing) {
    for (const unsigned threads : {1U, 2U, 8U, 64U}) {
        constexpr int kJobs = 300;
        std::atomic<int> ran = 0;
        {
            vWorkerThread single;
            vWorkerThread pool;
            single.RunSingle();
            pool.RunPool(threads);
            std::vector<std::thread> posters;
            for (unsigned i = 0; i < threads; ++i) {
                posters.emplace_back([&] {
                    for (int job = 0; job < kJobs; ++job) {
                        single.PostJob(vPooledTask::Create(
                            [&] { pool.PostJob(vPooledTask::Create([&] { ++ran; })); }));
                        pool.PostJob(vPooledTask::Create(
                            [&] { single.PostJob(vPooledTask::Create([&] { ++ran; })); }));
                    }
                    single.WaitForPendingTasks();
                });
            }
            for (std::thread& poster : posters) {
                poster.join();
            }
            while (ran < 2 * kJobs * static_cast<int>(threads)) {
                std::this_thread::yield();
            }
        }
        EXPECT_EQ(ran, 2 * kJobs * static_cast<int>(threads));
    }
}

}  // namespace
