#pragma once

// All that one frame in flight works on, and the jobs of its stages. The jobs of one stage may run
// at the same time on any threads; who runs them keeps the order of the stages (see FrameGraph).

#include <cstdint>
#include <memory>
#include <span>

#include "Bins.h"
#include "BufferPool.h"
#include "DrawList.h"
#include "KernelAllocator.h"
#include "ShadowMap.h"
#include "StageClock.h"
#include "View.h"
#include "ZelREKernel/core/vSmartPtr.h"
#include "ZelREKernel/memory/vFrameAllocator.h"

namespace frame {

class FrameContext {
public:
    // Draws `list` into textures that it creates in `pool`; both outlive the context, and nothing
    // changes the pool while a frame is under way. Watches `camera`. Throws std::bad_alloc.
    FrameContext(BufferPool& pool, const DrawList& list, TileGrid grid,
                 ZKL::vWeakPtr<Camera> camera);
    FrameContext(const FrameContext&) = delete;
    FrameContext& operator=(const FrameContext&) = delete;

    // Sets the frame that the jobs work on next, and drops the last one's data: its pixels too.
    // Throws std::bad_alloc.
    void Begin(std::uint32_t number);
    // How many jobs a stage has; the present stage is somebody else's.
    std::uint32_t JobCount(Stage stage) const;
    // Runs one of them.
    void Run(Stage stage, std::uint32_t job);

    std::uint32_t Number() const { return number_; }
    // Rows of pixels, red, green and blue bytes; complete after the resolve stage.
    std::span<const std::uint8_t> Pixels() const { return {pixels_, grid_.Pixels() * 3}; }
    const TileGrid& Grid() const { return grid_; }
    StageClock& Clock() { return clock_; }
    // What the present frame took from its arena.
    std::uint64_t FrameBytes() const { return frameBytes_; }
    // After the bin stage.
    std::uint32_t TrianglesOnScreen() const;

private:
    // As small and as large as a draw item.
    static constexpr std::uint32_t kChunkVertices = 128;
    static constexpr std::uint32_t kBandRows = 32;

    template <typename T>
    T* TakeForFrame(std::size_t count);
    void Animate();
    void Transform(std::uint32_t chunk);
    void Bin(std::uint32_t item);
    void RenderOneTile(std::uint32_t tile);
    void Resolve(std::uint32_t band);

    const BufferPool& pool_;
    const DrawList& list_;
    const TileGrid grid_;
    const ZKL::vWeakPtr<Camera> camera_;
    std::uint32_t number_ = 0;
    StageClock clock_;
    View view_{};
    Vector<Bins> bins_;
    ShadowMap shadows_;
    // Textures.
    const BufferPool::Buffer shadowMap_;
    const BufferPool::Buffer colourTarget_;
    float* colours_ = nullptr;
    // For one frame.
    ZKL::vFrameAllocator arena_;
    TransformedVertex* vertices_ = nullptr;
    std::uint8_t* pixels_ = nullptr;
    std::uint64_t frameBytes_ = 0;
};

}  // namespace frame
