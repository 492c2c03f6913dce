#pragma once

// Runs the frames: launches them two at a time, collects what they took and hands the pictures on.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FrameContext.h"
#include "FrameGraph.h"
#include "Options.h"
#include "PictureWriter.h"
#include "Summary.h"

namespace frame {

class WorkerService;

class Renderer {
public:
    // `workers` must be up and outlive the renderer.
    Renderer(const Options& options, ZKL::vRefPtr<Mesh> mesh, WorkerService& workers);

    // Renders all frames and waits for the pictures. False with one line in `error` when one could
    // not be written.
    bool Run(RunRecord& record, std::string& error);

    // The figures of the allocators of which it knows. Between runs.
    void Read(AllocatorFigures& figures) const;
    std::uint32_t JobCount(Stage stage) const { return flights_[0].context->JobCount(stage); }

private:
    // The next frame's graph stands ready when the picture of one is complete; presenting it and
    // building the one after next cost the workers nothing.
    static constexpr std::uint32_t kInFlight = 2;
    // Keys of the page allocator, from here up.
    static constexpr std::uint64_t kBufferOwner = 1;

    struct Flight {
        std::unique_ptr<FrameContext> context;
        std::unique_ptr<FrameGraph> graph;
    };

    void Present(FrameContext& context);
    void Collect(Flight& flight, RunRecord& record);
    void LogGraph() const;

    const Options& options_;
    const std::uint32_t workers_;
    BufferPool buffers_{kBufferOwner};
    const DrawList list_;
    ZKL::vSmartPtr<Camera> camera_;
    PictureWriter writer_;
    std::vector<std::uint64_t> hashes_;  // written by the presenter, one by one
    std::array<Flight, kInFlight> flights_;
    float fragmentationAtLoading_ = 0.0f;
};

}  // namespace frame
