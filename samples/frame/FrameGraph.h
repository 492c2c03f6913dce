#pragma once

// A frame as a task graph:
//
//   animate -> transform -+-> shadow -+-> tiles -> resolve -> present
//                         +-> bin ----+               +-> gate of the next frame
//
// The nodes up to resolve give their jobs to a pool of threads, present gives its one to a thread
// of its own, so that the next frame is under way while this one is handed on. One object is one
// frame in flight; use it from one thread.

#include <cstdint>
#include <functional>
#include <optional>

#include "FrameContext.h"
#include "ZelREKernel/tasks/vSynchroNode.h"
#include "ZelREKernel/tasks/vTaskNode.h"

namespace ZKL {
class vWorkerThread;
}

namespace frame {

class FrameGraph {
public:
    // Receives each finished frame on the present thread, before the graph may be launched again.
    using Present = std::function<void(FrameContext&)>;

    // The context and the workers stay the caller's and outlive the graph.
    FrameGraph(FrameContext& context, ZKL::vWorkerThread& pool, ZKL::vWorkerThread& presenter,
               Present present);
    // Waits for a frame that is under way.
    ~FrameGraph();

    using Node = ZKL::vTaskNode::NodeHandle;

    // Starts frame `number`; the one before in this graph must have been waited for. Nothing of it
    // runs before `gate` opens, unless that is null; on return `gate` is the one of this frame,
    // which opens when its picture is complete. Whoever holds a gate keeps it shut.
    void Launch(std::uint32_t number, Node& gate);
    // Waits until the frame is presented. False when the default time-out passes first; the wait
    // may then be repeated.
    bool Wait();

    std::uint32_t JobsPerFrame() const;

private:
    Node MakeNode(Stage stage);
    void RunJob(Stage stage, std::uint32_t job);

    FrameContext& context_;
    ZKL::vWorkerThread& pool_;
    ZKL::vWorkerThread& presenter_;
    const Present present_;
    std::uint32_t flow_ = 0;  // ties the stages of a frame together in the trace
    std::optional<ZKL::vSynchroNode> done_;
};

}  // namespace frame
