#include "FrameContext.h"

#include <algorithm>
#include <utility>

#include "Stages.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/memory/vPageAllocator.h"

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

FrameContext::FrameContext(std::uint64_t owner, TileGrid grid, ZKL::vRefPtr<Mesh> mesh,
                           ZKL::vWeakPtr<Camera> camera)
    : owner_(owner),
      grid_(grid),
      mesh_(std::move(mesh)),
      camera_(std::move(camera)),
      vertices_(mesh_->Vertices().size()),
      bins_(Pieces(mesh_->Triangles().size(), kChunkTriangles)),
      pixels_(std::size_t{grid.width} * grid.height * 3) {
    shadows_.SetMemory(TakePages(ShadowMap::kBytes));
    colours_ = TakePages(pixels_.size() * sizeof(float));
}

FrameContext::~FrameContext() {
    ZKL::DefaultPageAllocator()->FreePages(owner_);
}

float* FrameContext::TakePages(std::size_t bytes) {
    ZKL::vPageAllocator* const source = ZKL::DefaultPageAllocator();
    const std::uint32_t count = Pieces(bytes, source->GetPageSize());
    void* const pages = source->AllocatePages(owner_, count, 0);
    if (pages == nullptr) {
        source->FreePages(owner_);
        throw std::bad_alloc();
    }
    pageBytes_ += std::uint64_t{count} * source->GetPageSize();
    return static_cast<float*>(pages);
}

void FrameContext::Begin(std::uint32_t number) {
    number_ = number;
    clock_.Reset();
}

std::uint32_t FrameContext::JobCount(Stage stage) const {
    switch (stage) {
        case Stage::Transform:
            return Pieces(vertices_.size(), kChunkVertices);
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
            return shadows_.FillBand(
                static_cast<std::int32_t>(job),
                std::span(mesh_->Triangles()).first(mesh_->ModelTriangleCount()), vertices_.data());
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
    const std::span<const Mesh::Vertex> all = mesh_->Vertices();
    TransformVertices(Piece(all, kChunkVertices, chunk), view_,
                      vertices_.data() + std::size_t{chunk} * kChunkVertices);
}

void FrameContext::Bin(std::uint32_t chunk) {
    const std::span<const Mesh::Triangle> all = mesh_->Triangles();
    bins_[chunk].Fill(Piece(all, kChunkTriangles, chunk), vertices_.data(), grid_);
}

void FrameContext::RenderOneTile(std::uint32_t tile) {
    const Scene scene{&view_, &shadows_, mesh_.Get(), grid_.width, grid_.height};
    RenderTile(tile, grid_, bins_, scene, colours_);
}

void FrameContext::Resolve(std::uint32_t band) {
    const std::size_t rowBytes = std::size_t{grid_.width} * 3;
    const std::size_t begin = std::size_t{band} * kBandRows * rowBytes;
    const std::size_t count = std::min<std::size_t>(kBandRows * rowBytes, pixels_.size() - begin);
    EncodePixels(colours_ + begin, count, pixels_.data() + begin);
}

std::uint32_t FrameContext::TrianglesOnScreen() const {
    std::size_t count = 0;
    for (const Bins& chunk : bins_) {
        count += chunk.Triangles().size();
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace frame
