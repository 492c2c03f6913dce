#include "FrameContext.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "Stages.h"
#include "ZelREKernel/core/vLog.h"

namespace frame {
namespace {

std::uint32_t Pieces(std::size_t count, std::uint32_t size) {
    return static_cast<std::uint32_t>((count + size - 1) / size);
}

// Piece number `index` of `all` when it is cut into pieces of `size`.
template <typename T>
std::span<const T> Piece(std::span<const T> all, std::uint32_t size, std::uint32_t index) {
    const std::size_t begin = std::size_t{index} * size;
    return all.subspan(begin, std::min<std::size_t>(size, all.size() - begin));
}

}  // namespace

FrameContext::FrameContext(BufferPool& pool, const DrawList& list, TileGrid grid,
                           ZKL::vWeakPtr<Camera> camera)
    : pool_(pool),
      list_(list),
      grid_(grid),
      camera_(std::move(camera)),
      bins_(list.Items().size()),
      shadowMap_(pool.Create(ShadowMap::kBytes)),
      colourTarget_(pool.Create(grid.Pixels() * 3 * sizeof(float))) {}

template <typename T>
T* FrameContext::TakeForFrame(std::size_t count) {
    T* const items = KernelAllocator<T>(&arena_).allocate(count);
    std::uninitialized_default_construct_n(items, count);
    frameBytes_ += count * sizeof(T);
    return items;
}

void FrameContext::Begin(std::uint32_t number) {
    number_ = number;
    clock_.Reset();
    shadows_.SetMemory(static_cast<float*>(pool_.Data(shadowMap_)));
    colours_ = static_cast<float*>(pool_.Data(colourTarget_));
    arena_.Reset();
    frameBytes_ = 0;
    vertices_ = TakeForFrame<TransformedVertex>(list_.Vertices().size());
    pixels_ = TakeForFrame<std::uint8_t>(Pixels().size());
}

std::uint32_t FrameContext::JobCount(Stage stage) const {
    switch (stage) {
        case Stage::Transform:
            return Pieces(list_.Vertices().size(), kChunkVertices);
        case Stage::Shadow:
            return ShadowMap::kBands;
        case Stage::Bin:
            return static_cast<std::uint32_t>(bins_.size());
        case Stage::Tiles:
            return grid_.Count();
        case Stage::Resolve:
            return Pieces(grid_.height, kBandRows);
        case Stage::Animate:
        case Stage::Present:
            break;
    }
    return 1;
}

void FrameContext::Run(Stage stage, std::uint32_t job) {
    switch (stage) {
        case Stage::Animate:
            return Animate();
        case Stage::Transform:
            return Transform(job);
        case Stage::Shadow:
            return shadows_.FillBand(static_cast<std::int32_t>(job),
                                     list_.Triangles().first(list_.Source().ModelTriangleCount()),
                                     vertices_);
        case Stage::Bin:
            return Bin(job);
        case Stage::Tiles:
            return RenderOneTile(job);
        case Stage::Resolve:
            return Resolve(job);
        case Stage::Present:
            break;
    }
}

void FrameContext::Animate() {
    if (const ZKL::vSmartPtr<Camera> camera = camera_.Lock()) {
        view_ = camera->At(number_);
    } else {
        ZKL::LogDefault(ZKL::vLogger::eWarning, "Frame %u has no camera and keeps the last view",
                        number_);
    }
}

void FrameContext::Transform(std::uint32_t chunk) {
    TransformVertices(Piece(list_.Vertices(), kChunkVertices, chunk), view_,
                      vertices_ + std::size_t{chunk} * kChunkVertices);
}

void FrameContext::Bin(std::uint32_t item) {
    const auto& [firstId, first, count] = list_.Items()[item];
    bins_[firstId / DrawItem::kIds].Fill(list_.Triangles().subspan(first, count), vertices_, grid_);
}

void FrameContext::RenderOneTile(std::uint32_t tile) {
    const Scene scene{&view_, &shadows_, &list_, grid_.width, grid_.height};
    RenderTile(tile, grid_, bins_, scene, colours_);
}

void FrameContext::Resolve(std::uint32_t band) {
    const std::size_t rowBytes = std::size_t{grid_.width} * 3;
    const std::size_t begin = std::size_t{band} * kBandRows * rowBytes;
    const std::size_t count = std::min<std::size_t>(kBandRows * rowBytes, Pixels().size() - begin);
    EncodePixels(colours_ + begin, count, pixels_ + begin);
}

std::uint32_t FrameContext::TrianglesOnScreen() const {
    std::size_t count = 0;
    for (const Bins& item : bins_) {
        count += item.Triangles().size();
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace frame
