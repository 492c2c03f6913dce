#pragma once

// All that one frame in flight works on, and the jobs of its stages. The jobs of one stage may run
// at the same time on any threads; who runs them keeps the order of the stages (see FrameGraph).

#include <cstdint>
#include <memory>
#include <span>

#include "Bins.h"
#include "KernelAllocator.h"
#include "Mesh.h"
#include "ShadowMap.h"
#include "StageClock.h"
#include "View.h"
#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/core/vSmartPtr.h"

namespace frame {

class FrameContext {
public:
    // `owner`: the key, different for each context, under which it takes pages from the page
    // allocator. Watches `camera`, shares `mesh`. Throws std::bad_alloc.
    FrameContext(std::uint64_t owner, TileGrid grid, ZKL::vRefPtr<Mesh> mesh,
                 ZKL::vWeakPtr<Camera> camera);
    // Gives the pages back.
    ~FrameContext();
    FrameContext(const FrameContext&) = delete;
    FrameContext& operator=(const FrameContext&) = delete;

    // Sets the frame that the jobs work on next.
    void Begin(std::uint32_t number);
    // How many jobs a stage has; the present stage is somebody else's.
    std::uint32_t JobCount(Stage stage) const;
    // Runs one of them.
    void Run(Stage stage, std::uint32_t job);

    std::uint32_t Number() const { return number_; }
    // Rows of pixels, red, green and blue bytes; complete after the resolve stage.
    std::span<const std::uint8_t> Pixels() const { return pixels_; }
    const TileGrid& Grid() const { return grid_; }
    StageClock& Clock() { return clock_; }
    std::uint64_t PageBytes() const { return pageBytes_; }
    // After the bin stage.
    std::uint32_t TrianglesOnScreen() const;

private:
    // Small enough that a frame has work for several threads, large enough to be worth a job.
    static constexpr std::uint32_t kChunkVertices = 128;
    static constexpr std::uint32_t kChunkTriangles = 128;
    static constexpr std::uint32_t kBandRows = 32;

    float* TakePages(std::size_t bytes);
    void Animate();
    void Transform(std::uint32_t chunk);
    void Bin(std::uint32_t chunk);
    void RenderOneTile(std::uint32_t tile);
    void Resolve(std::uint32_t band);

    const std::uint64_t owner_;
    const TileGrid grid_;
    const ZKL::vRefPtr<Mesh> mesh_;
    const ZKL::vWeakPtr<Camera> camera_;
    std::uint32_t number_ = 0;
    StageClock clock_;
    View view_{};
    Vector<TransformedVertex> vertices_;
    Vector<Bins> bins_;
    ShadowMap shadows_;
    float* colours_ = nullptr;
    Vector<std::uint8_t> pixels_;
    std::uint64_t pageBytes_ = 0;
};

}  // namespace frame
