#include "FrameGraph.h"

#include <array>
#include <atomic>
#include <string>
#include <utility>

#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vProfilerWithFlow.h"
#include "ZelREKernel/profiling/vScopedProfiler.h"
#include "ZelREKernel/tasks/vPooledTask.h"
#include "ZelREKernel/tasks/vThreadUtils.h"
#include "ZelREKernel/tasks/vWorkerThread.h"

namespace frame {
namespace {

// The profiler's handles of the names that every frame needs, looked up once.
struct TraceNames {
    std::array<std::uint32_t, kStageCount> stages;
    std::uint32_t category = ZKL::vProfiler::RegisterName("frame");
    std::uint32_t launch = ZKL::vProfiler::RegisterName("launch");
    std::uint32_t frame = ZKL::vProfiler::RegisterName("frame flow");
    std::uint32_t job = ZKL::vProfiler::RegisterName("job");

    TraceNames() {
        for (std::uint32_t i = 0; i < kStageCount; ++i) {
            stages[i] = ZKL::vProfiler::RegisterName(StageName(static_cast<Stage>(i)));
        }
    }
};

const TraceNames& Names() {
    static const TraceNames names;
    return names;
}

// The pool's threads have no names of their own; a trace is read by names.
void NameThisThread() {
    static std::atomic<std::uint32_t> s_count{0};
    static thread_local bool s_isNamed = false;
    if (!s_isNamed) {
        s_isNamed = true;
        // Relaxed: any order of the numbers will do.
        const std::uint32_t number = s_count.fetch_add(1, std::memory_order_relaxed) + 1;
        vThreadUtils::SetThreadName(("Renderer " + std::to_string(number)).c_str());
    }
}

}  // namespace

FrameGraph::FrameGraph(FrameContext& context, ZKL::vWorkerThread& pool,
                       ZKL::vWorkerThread& presenter, Present present)
    : context_(context), pool_(pool), presenter_(presenter), present_(std::move(present)) {}

FrameGraph::~FrameGraph() {
    if (done_) {
        done_->Wait(-1);
    }
}

void FrameGraph::Launch(std::uint32_t number, Node& gate) {
    const TraceNames& names = Names();
    ZKL::vProfiler::RecordFrame(number);
    const ZKL::vProfilerWithFlow scope(names.launch, names.frame, ZKL::vProfiler::kNone,
                                       ZKL::vProfilerWithFlow::eFlowStart, names.category);
    flow_ = scope.GetFlowId();
    context_.Begin(number);

    const Node animate = MakeNode(Stage::Animate);
    const Node transform = MakeNode(Stage::Transform);
    const Node shadow = MakeNode(Stage::Shadow);
    const Node bin = MakeNode(Stage::Bin);
    const Node tiles = MakeNode(Stage::Tiles);
    const Node resolve = MakeNode(Stage::Resolve);
    const Node present = MakeNode(Stage::Present);
    transform->AddDependency(animate.Get());
    shadow->AddDependency(transform.Get());
    bin->AddDependency(transform.Get());
    tiles->AddDependency(shadow.Get());
    tiles->AddDependency(bin.Get());
    resolve->AddDependency(tiles.Get());
    present->AddDependency(resolve.Get());
    done_.emplace(present.Get());

    // A node without jobs is done as soon as what it waits for is. While the handle is held it
    // cannot be, so there is no race in making the next frame depend on it.
    Node next = ZKL::vTaskNode::CreateNode(nullptr);
    next->AddDependency(resolve.Get());
    animate->AddDependency(gate.Get());
    gate = std::move(next);
    // The handles go here, last the one of the animate node, and with it the frame is off.
}

bool FrameGraph::Wait() {
    if (done_ && done_->Wait() != 0) {
        return false;
    }
    done_.reset();
    return true;
}

std::uint32_t FrameGraph::JobsPerFrame() const {
    std::uint32_t jobs = 0;
    for (std::uint32_t i = 0; i < kStageCount; ++i) {
        jobs += context_.JobCount(static_cast<Stage>(i));
    }
    return jobs;
}

FrameGraph::Node FrameGraph::MakeNode(Stage stage) {
    Node node = ZKL::vTaskNode::CreateNode(stage == Stage::Present ? &presenter_ : &pool_);
    const std::uint32_t jobs = context_.JobCount(stage);
    for (std::uint32_t job = 0; job < jobs; ++job) {
        node->AddTask(
            ZKL::vTaskDetail::vPooledTask::Create([this, stage, job] { RunJob(stage, job); }));
    }
    return node;
}

void FrameGraph::RunJob(Stage stage, std::uint32_t job) {
    if (stage != Stage::Present) {
        NameThisThread();
    }
    const TraceNames& names = Names();
    const std::uint32_t name = names.stages[Index(stage)];
    const ZKL::vScopedProfiler scope(name, names.job, job, names.category);
    if (job == 0) {
        // One arrow per stage keeps the trace readable.
        if (stage == Stage::Present) {
            ZKL::vProfiler::RecordFlowEnd(flow_);
        } else {
            ZKL::vProfiler::RecordFlowStep(flow_);
        }
    }
    ZKL::vTimer timer;
    const StageClock::Instant start = timer.LastSampled();
    if (stage == Stage::Present) {
        present_(context_);
    } else {
        context_.Run(stage, job);
    }
    context_.Clock().Add(stage, start, timer.Sample());
}

}  // namespace frame
