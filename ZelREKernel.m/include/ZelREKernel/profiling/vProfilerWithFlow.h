#pragma once

// A scoped profiler that is one end of a flow: the viewer draws an arrow from the slice that starts
// a flow, through those that step it, to the slice that ends it.
//
//     const ZKL::vProfilerWithFlow producer(s_post, s_flowName, ZKL::vProfiler::kNone,
//                                           ZKL::vProfilerWithFlow::eFlowStart);
//     Post(job, producer.GetFlowId());          // and on the thread that runs the job
//     const ZKL::vProfilerWithFlow consumer(s_run, s_flowName, flowId);
//
// An object belongs to the thread that made it; objects of one thread end in reverse order.

#include <cstdint>

#include "ZelREKernel/profiling/vProfiler.h"

namespace ZKL {

class vProfilerWithFlow {
public:
    // Which end of the flow the slice is; the values are phases of the trace format.
    enum EFlow : char { eFlowStart = 's', eFlowStep = 't', eFlowEnd = 'f' };

    // Carries flow `flowId`, shown as the slice's argument `argNameId`. With kNone for the flow a
    // new identifier is generated. The flow is tied to the slice at its beginning, so that an arrow
    // never points back in time when the other end runs before this scope is over. Off: a load and
    // a branch, and the flow given is kept as it is.
    vProfilerWithFlow(std::uint32_t nameId, std::uint32_t argNameId, std::uint32_t flowId,
                      EFlow flow = eFlowEnd,
                      std::uint32_t categoryId = vProfiler::kDefaultCategory) noexcept
        : nameId_(nameId), categoryId_(categoryId), flowId_(flowId), isOpen_(false) {
        if (vProfiler::IsEnabled()) {
            if (flowId_ == vProfiler::kNone) {
                flowId_ = vProfiler::NextFlowId();
            }
            isOpen_ = vProfiler::BeginFlowScope(nameId, categoryId, argNameId, flowId_, flow);
        }
    }

    ~vProfilerWithFlow() {
        if (isOpen_) {
            vProfiler::EndScope(nameId_, categoryId_);
        }
    }

    vProfilerWithFlow(const vProfilerWithFlow&) = delete;
    vProfilerWithFlow& operator=(const vProfilerWithFlow&) = delete;

    // The flow carried; kNone when none was given and the profiler was off.
    std::uint32_t GetFlowId() const noexcept { return flowId_; }

private:
    std::uint32_t nameId_;
    std::uint32_t categoryId_;
    std::uint32_t flowId_;
    bool isOpen_;
};

}  // namespace ZKL
