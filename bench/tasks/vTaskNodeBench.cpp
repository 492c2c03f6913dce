// Graphs of empty jobs, built, run and torn down: time per node.

#include <benchmark/benchmark.h>
#include <tbb/flow_graph.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZelREKernel/tasks/vSynchroNode.h"
#include "ZelREKernel/tasks/vTaskNode.h"
#include "ZelREKernel/tasks/vWorkerThread.h"
#include "tasks/CountAllocations.h"
#include "tasks/GraphShapes.h"

namespace {

using ZKL::vSynchroNode;
using ZKL::vTaskNode;
using ZKL::vWorkerThread;
using ZKL::vTaskDetail::vPooledTask;

// Every contender builds its nodes one by one, each with a callable and its edges, while the first
// one is held back; then all runs, and the nodes are gone when the run ends.

// The nodes without successors release a last one, which the caller waits for. A pool runs the
// youngest job first, as the peers do.
struct Ours {
    static constexpr const char* kName = "ours";
    vWorkerThread worker;
    std::vector<vTaskNode*> nodes;

    Ours(unsigned threads, std::size_t size) : Ours(size) { worker.RunPool(threads); }
    explicit Ours(std::size_t size) : nodes(size) {}
    template <typename Shape>
    void Run(const Shape& shape) {
        vTaskNode::NodeHandle first;
        vTaskNode::NodeHandle last = vTaskNode::CreateNode(nullptr);
        for (std::size_t i = 0; i < shape.size; ++i) {
            vTaskNode::NodeHandle node = vTaskNode::CreateNode(&worker);
            node->AddTask(vPooledTask::Create([] {}));
            shape.ForPredecessors(i,
                                  [&](std::size_t before) { node->AddDependency(nodes[before]); });
            if (shape.IsLeaf(i)) {
                last->AddDependency(node.Get());
            }
            nodes[i] = node.Get();
            if (i == 0) {
                first = std::move(node);
            }
        }
        vSynchroNode done(last.Get());
        last.Reset();
        first.Reset();
        done.Wait();
    }
};

// The dedicated thread runs the oldest job first. That takes a grid by its diagonals and a tree by
// its levels, the most scattered way through memory there is, so it is a figure of its own.
struct OursInOrder : Ours {
    static constexpr const char* kName = "ours_in_order";

    OursInOrder(unsigned, std::size_t size) : Ours(size) { worker.RunSingle(); }
};

struct InArena {
    tbb::global_control limit;
    tbb::task_arena arena;

    explicit InArena(unsigned threads)
        : limit(tbb::global_control::max_allowed_parallelism, threads),
          arena(static_cast<int>(threads)) {}
};

// A task starts those of its node's successors for which it is the last predecessor.
struct TaskGroup : InArena {
    static constexpr const char* kName = "tbb_task_group";
    struct Node {
        std::function<void()> job;
        std::atomic<unsigned> waiting = 0;
        std::vector<Node*> successors;
    };

    TaskGroup(unsigned threads, std::size_t) : InArena(threads) {}
    template <typename Shape>
    void Run(const Shape& shape) {
        arena.execute([&] {
            std::vector<Node> nodes(shape.size);
            for (std::size_t i = 0; i < shape.size; ++i) {
                Node& node = nodes[i];
                node.job = [] {};
                shape.ForPredecessors(i, [&](std::size_t before) {
                    nodes[before].successors.push_back(&node);
                    node.waiting.fetch_add(1, std::memory_order_relaxed);
                });
            }
            tbb::task_group group;
            Start(group, nodes[0]);
            group.wait();
        });
    }
    static void Start(tbb::task_group& group, Node& node) {
        group.run([&group, &node] {
            node.job();
            for (Node* const next : node.successors) {
                if (next->waiting.fetch_sub(1, std::memory_order_acq_rel) == 1) {
                    Start(group, *next);
                }
            }
        });
    }
};

struct FlowGraph : InArena {
    static constexpr const char* kName = "tbb_flow_graph";
    using Message = tbb::flow::continue_msg;
    using Node = tbb::flow::continue_node<Message>;

    FlowGraph(unsigned threads, std::size_t) : InArena(threads) {}
    template <typename Shape>
    void Run(const Shape& shape) {
        arena.execute([&] {
            tbb::flow::graph graph;
            std::vector<std::unique_ptr<Node>> nodes;
            nodes.reserve(shape.size);
            for (std::size_t i = 0; i < shape.size; ++i) {
                nodes.push_back(std::make_unique<Node>(graph, [](const Message&) {}));
                shape.ForPredecessors(i, [&](std::size_t before) {
                    tbb::flow::make_edge(*nodes[before], *nodes[i]);
                });
            }
            nodes[0]->try_put(Message());
            graph.wait_for_all();
        });
    }
};

template <typename Shape, typename Contender>
void BM_Graph(benchmark::State& state, unsigned threads) {
    const Shape shape{static_cast<std::size_t>(state.range(0))};
    std::optional<Contender> contender(std::in_place, threads, shape.size);
    contender->Run(shape);
    contender->Run(shape);
    for (auto _ : state) {
        contender->Run(shape);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    StartCountingAllocations();
    contender->Run(shape);
    state.counters["allocs"] =
        static_cast<double>(StopCountingAllocations()) / static_cast<double>(state.range(0));
}

template <typename Shape, typename Contender>
void Register(unsigned threads) {
    const std::string work =
        std::string(Shape::kName) + (threads == 1 ? "" : "_" + std::to_string(threads) + "workers");
    benchmark::RegisterBenchmark((work + "/" + Contender::kName).c_str(),
                                 &BM_Graph<Shape, Contender>, threads)
        ->Arg(10'000)
        ->Arg(90'000)
        ->Arg(1'000'000)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
}

template <typename Shape>
void RegisterContenders(unsigned threads) {
    Register<Shape, Ours>(threads);
    if (threads == 1) {
        Register<Shape, OursInOrder>(threads);
    }
    Register<Shape, TaskGroup>(threads);
    Register<Shape, FlowGraph>(threads);
}

const bool s_registered = [] {
    for (const unsigned threads : {1U, 2U}) {
        RegisterContenders<Fan>(threads);
        RegisterContenders<Chain>(threads);
        RegisterContenders<Grid>(threads);
        RegisterContenders<Tree>(threads);
    }
    return true;
}();

}  // namespace
