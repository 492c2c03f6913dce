#include "ZelREKernel/tasks/vTaskNode.h"

#include <MekHost/MekStatus.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ZelREKernel/tasks/vSynchroNode.h"
#include "ZelREKernel/tasks/vWorkerThread.h"
#include "tasks/TaskLeakCheck.h"

namespace {

using ZKL::vSynchroNode;
using ZKL::vTaskNode;
using ZKL::vWorkerThread;
using ZKL::vTaskDetail::vPooledTask;
using NodeHandle = vTaskNode::NodeHandle;
using Indices = std::vector<std::size_t>;

class vTaskNodeTest : public TaskLeakCheck {};

// A random graph: successors[i] are after i, and every edge leads to a higher number.
struct Graph {
    std::vector<Indices> successors;
    std::vector<int> jobCounts;

    Graph(std::size_t size, std::size_t edgesPerNode, int maxJobs, std::mt19937& random)
        : successors(size), jobCounts(size) {
        for (std::size_t node = 0; node < size; ++node) {
            jobCounts[node] = static_cast<int>(random() % static_cast<unsigned>(maxJobs + 1));
            for (std::size_t edge = 0; node > 0 && edge < random() % (edgesPerNode + 1); ++edge) {
                successors[random() % node].push_back(node);
            }
        }
    }

    std::size_t Size() const { return successors.size(); }
};

// The rule as it is stated, with recursion and without threads: what a worker-less graph must do.
struct ReferenceModel {
    const Graph& graph;
    std::vector<std::size_t> counts;
    Indices ran;
    Indices deleted;

    explicit ReferenceModel(const Graph& g) : graph(g), counts(g.Size(), 1) {
        for (const Indices& successors : graph.successors) {
            for (const std::size_t next : successors) {
                ++counts[next];
            }
        }
    }
    void Release(std::size_t node) {
        if (--counts[node] != 0) {
            return;
        }
        ran.insert(ran.end(), static_cast<std::size_t>(graph.jobCounts[node]), node);
        for (const std::size_t next : graph.successors[node]) {
            Release(next);
        }
        deleted.push_back(node);
    }
};

std::vector<NodeHandle> Build(const Graph& graph,
                              const std::function<vWorkerThread*(std::size_t)>& workerOf) {
    std::vector<NodeHandle> nodes;
    for (std::size_t i = 0; i < graph.Size(); ++i) {
        nodes.push_back(vTaskNode::CreateNode(workerOf(i)));
    }
    for (std::size_t i = 0; i < graph.Size(); ++i) {
        for (const std::size_t next : graph.successors[i]) {
            nodes[next]->AddDependency(nodes[i].Get());
        }
    }
    return nodes;
}

// The order in which jobs run, nodes die and records come back is that of the recursive rule.
TEST_F(vTaskNodeTest, FollowsTheRecursiveRuleInOrder) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 200; ++round) {
        const Graph graph(1 + random() % 300, random() % 5, static_cast<int>(random() % 3), random);
        ReferenceModel model(graph);
        Indices ran;
        std::vector<NodeHandle> nodes = Build(graph, [](std::size_t) { return nullptr; });
        std::vector<const vTaskNode*> addresses;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            addresses.push_back(nodes[i].Get());
            for (int job = 0; job < graph.jobCounts[i]; ++job) {
                nodes[i]->AddTask(vPooledTask::Create([&ran, i] { ran.push_back(i); }));
            }
        }
        Indices releases(graph.Size());
        for (std::size_t i = 0; i < releases.size(); ++i) {
            releases[i] = i;
        }
        std::shuffle(releases.begin(), releases.end(), random);
        for (const std::size_t i : releases) {
            nodes[i].Reset();
            model.Release(i);
            ASSERT_EQ(ran, model.ran) << "round " << round;
        }
        ASSERT_EQ(model.deleted.size(), graph.Size());
        for (auto last = model.deleted.rbegin(); last != model.deleted.rend(); ++last) {
            nodes.push_back(vTaskNode::CreateNode(nullptr));
            ASSERT_EQ(nodes.back().Get(), addresses[*last]) << "round " << round;
        }
    }
}

// Plain, unguarded marks: the thread sanitizer proves that a node's jobs see its predecessors'
// work.
TEST_F(vTaskNodeTest, KeepsEveryEdgeOnAnyNumberOfThreads) {
    std::mt19937 random(7);
    for (const unsigned threads : {1U, 2U, 8U, 64U}) {
        vWorkerThread pool;
        vWorkerThread singles[2];
        pool.RunPool(threads);
        singles[0].RunSingle();
        singles[1].RunSingle();
        vWorkerThread* const workers[] = {&pool, &pool, &pool, &singles[0], &singles[1], nullptr};
        for (int round = 0; round < 10; ++round) {
            const Graph graph(300, 4, 3, random);
            std::vector<Indices> predecessors(graph.Size());
            std::vector<std::unique_ptr<int[]>> runs;
            for (std::size_t i = 0; i < graph.Size(); ++i) {
                runs.push_back(std::make_unique<int[]>(4));
                for (const std::size_t next : graph.successors[i]) {
                    predecessors[next].push_back(i);
                }
            }
            const auto finished = [&](std::size_t i) {
                return std::count(&runs[i][0], &runs[i][4], 1) == graph.jobCounts[i];
            };
            std::vector<NodeHandle> nodes =
                Build(graph, [&](std::size_t) { return workers[random() % 6]; });
            NodeHandle last = vTaskNode::CreateNode(nullptr);
            std::atomic<int> early = 0;
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                last->AddDependency(nodes[i].Get());
                for (int job = 0; job < graph.jobCounts[i]; ++job) {
                    auto handle = vPooledTask::Create([&, i, job] {
                        const Indices& before = predecessors[i];
                        early += !std::all_of(before.begin(), before.end(), finished);
                        ++runs[i][static_cast<std::size_t>(job)];
                    });
                    if (job == 2) {
                        nodes[i]->AddTask(workers[random() % 5], std::move(handle));
                    } else {
                        nodes[i]->AddTask(std::move(handle));
                    }
                }
            }
            vSynchroNode done(last.Get());
            last.Reset();
            nodes.clear();
            ASSERT_EQ(done.Wait(), 0);
            EXPECT_EQ(early, 0) << threads << " threads";
            for (std::size_t i = 0; i < graph.Size(); ++i) {
                EXPECT_TRUE(finished(i)) << "node " << i;
            }
        }
    }
}

// A chain of a million nodes on the ordinary stack of each thread that takes part.
TEST_F(vTaskNodeTest, LongChainsNeedNoStack) {
    for (const char* kind : {"no jobs", "direct jobs", "single", "pool"}) {
        const std::string name = kind;
        const int length = name == "pool" ? 100'000 : 1'000'000;
        vWorkerThread worker;
        if (name == "single") {
            worker.RunSingle();
        } else if (name == "pool") {
            worker.RunPool(2);
        }
        int ran = 0;
        bool inOrder = true;
        const bool posts = name == "single" || name == "pool";
        NodeHandle first = vTaskNode::CreateNode(nullptr);
        NodeHandle previous = first;
        for (int i = 0; i < length; ++i) {
            NodeHandle node = vTaskNode::CreateNode(posts ? &worker : nullptr);
            node->AddDependency(previous.Get());
            if (name != "no jobs") {
                node->AddTask(vPooledTask::Create([&, i] { inOrder &= ran++ == i; }));
            }
            previous = std::move(node);
        }
        vSynchroNode done(previous.Get());
        previous.Reset();
        first.Reset();
        EXPECT_EQ(done.Wait(), 0);
        EXPECT_EQ(ran, name == "no jobs" ? 0 : length) << name;
        EXPECT_TRUE(inOrder) << name;
    }
}

TEST_F(vTaskNodeTest, StatesFollowTheTable) {
    const auto stateOf = [](const vTaskNode* node) { return static_cast<unsigned>(node->State()); };
    vWorkerThread idle;
    vTaskNode node(&idle);
    EXPECT_EQ(stateOf(&node), 0U);
    EXPECT_EQ(node.ReferenceCount(), 0U);
    unsigned duringLaunch = 0;
    vTaskNode direct(nullptr);
    direct.AddTask(vPooledTask::Create([&] { duringLaunch = stateOf(&direct); }));
    direct.AddRef();
    direct.Release();
    EXPECT_EQ(duringLaunch, 2U);
    EXPECT_EQ(stateOf(&direct), 1U);  // all was done by the time of the launch

    node.AddTask(vPooledTask::Create([] {}));
    node.AddTask(&idle, vPooledTask::Create([] {}));
    node.AddRef();
    node.Release();
    EXPECT_EQ(stateOf(&node), 1U);
    EXPECT_EQ(node.ReferenceCount(), 2U);
    idle.RunSingle();
    idle.StopThread();
    idle.Join();
    EXPECT_EQ(stateOf(&node), 4U);

    vTaskNode synchro;
    EXPECT_EQ(stateOf(&synchro), 8U);
    EXPECT_EQ(synchro.Wait(0), kMekTimeout);
    synchro.AddRef();
    synchro.Release();
    EXPECT_EQ(stateOf(&synchro), 16U);
    EXPECT_EQ(synchro.Wait(0), 0);
    synchro.DeleteSynchroNode();
    vTaskNode abandoned;
    abandoned.AddRef();
    abandoned.DeleteSynchroNode();
    EXPECT_EQ(stateOf(&abandoned), 256U);
    abandoned.Release();
    EXPECT_EQ(stateOf(&abandoned), 4U);
}

// Whatever it points to, a node that is deleted by hand lets go of its jobs and dependents alone.
TEST_F(vTaskNodeTest, DeletesANodeInAnyState) {
    vWorkerThread idle;
    int ran = 0;
    vTaskNode dependent(nullptr);
    dependent.AddTask(vPooledTask::Create([&] { ++ran; }));
    vTaskNode node(&idle);
    node.AddTask(vPooledTask::Create([&] { ran += 100; }));
    node.AddDependentTask(&dependent);
    node.DeleteNode();
    EXPECT_EQ(ran, 1);
    vTaskNode synchro;
    synchro.AddRef();
    synchro.DeleteSynchroNode();
    synchro.DeleteSynchroNode();
    synchro.Release();
}

TEST_F(vTaskNodeTest, IgnoresEdgesThatAreNone) {
    NodeHandle node = vTaskNode::CreateNode(nullptr);
    int ran = 0;
    node->AddDependency(nullptr);
    node->AddDependency(node.Get());
    node->AddDependentTask(nullptr);
    node->AddTask(vPooledTask::Create([&] { ++ran; }));
    EXPECT_EQ(node->ReferenceCount(), 1U);
    node.Reset();
    EXPECT_EQ(ran, 1);
}

// Own jobs first and in order, then the others; the entry without a worker keeps its node.
TEST_F(vTaskNodeTest, RunsJobsWithoutWorkerOnTheReleasingThread) {
    std::string ran;
    const auto job = [&](char id) { return vPooledTask::Create([&ran, id] { ran += id; }); };
    vWorkerThread idle;
    NodeHandle node = vTaskNode::CreateNode(nullptr);
    node->AddTask(nullptr, job('x'));
    node->AddTask(&idle, job('w'));
    node->AddTask(nullptr, job('y'));
    node->AddTask(job('1'));
    node->AddTask(job('2'));
    vTaskNode* const kept = node.Get();
    node.Reset();
    EXPECT_EQ(ran, "12xy");
    EXPECT_EQ(kept->ReferenceCount(), 3U);
    idle.RunSingle();
    idle.StopThread();
    idle.Join();
    EXPECT_EQ(ran, "12xyw");
    EXPECT_EQ(kept->ReferenceCount(), 2U);
    kept->Release();
    kept->Release();
}

TEST_F(vTaskNodeTest, WaitsMayTimeOutBeRepeatedAndBeGivenUp) {
    vSynchroNode empty(nullptr);
    EXPECT_EQ(empty.Wait(), 0);
    NodeHandle node = vTaskNode::CreateNode(nullptr);
    vSynchroNode waiter(node.Get());
    vSynchroNode abandoned(node.Get());
    vSynchroNode droppedLate(node.Get());
    { const vSynchroNode droppedEarly(node.Get()); }
    EXPECT_EQ(waiter.Wait(0), kMekTimeout);
    ZKL::SetDefaultTaskTimeout(1);
    EXPECT_EQ(waiter.Wait(), kMekTimeout);
    ZKL::SetDefaultTaskTimeout(-1);
    EXPECT_EQ(waiter.Wait(-2), kMekInvalidParameter);
    abandoned = std::move(waiter);
    EXPECT_FALSE(waiter);  // NOLINT(bugprone-use-after-move): empty by contract
    EXPECT_TRUE(abandoned);
    node.Reset();
    EXPECT_EQ(abandoned.Wait(), 0);
    EXPECT_FALSE(abandoned);
    EXPECT_EQ(abandoned.Wait(), 0);
}

// A handle is dropped at the very moment at which its node ends.
TEST_F(vTaskNodeTest, GivingUpRacesWithTheEnd) {
    vWorkerThread worker;
    worker.RunSingle();
    for (int round = 0; round < 2000; ++round) {
        NodeHandle node = vTaskNode::CreateNode(&worker);
        node->AddTask(vPooledTask::Create([] {}));
        vSynchroNode waiter(node.Get());
        node.Reset();
        if (round % 2 == 0) {
            while (waiter.Wait(0) != 0) {
            }
        }
    }
}

}  // namespace
