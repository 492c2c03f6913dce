#include "DrawList.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace frame {
namespace {

constexpr std::size_t kStagingBytes = std::size_t{1} << 20;

// As for a device: piece by piece through a buffer that the processor can write.
template <typename T>
BufferPool::Buffer Upload(const Vector<T>& data, BufferPool::Buffer staging, BufferPool& pool) {
    const std::size_t size = data.size() * sizeof(T);
    const BufferPool::Buffer buffer = pool.Create(size);
    const auto* const from = reinterpret_cast<const std::byte*>(data.data());
    auto* const to = static_cast<std::byte*>(pool.Data(buffer));
    for (std::size_t at = 0; at < size; at += kStagingBytes) {
        const std::size_t piece = std::min(kStagingBytes, size - at);
        std::memcpy(pool.Data(staging), from + at, piece);
        std::memcpy(to + at, pool.Data(staging), piece);
    }
    return buffer;
}

}  // namespace

DrawList::DrawList(ZKL::vRefPtr<Mesh> mesh, BufferPool& pool)
    : mesh_(std::move(mesh)), pool_(pool) {
    const BufferPool::Buffer staging = pool.Create(kStagingBytes);
    vertices_ = Upload(mesh_->Vertices(), staging, pool);
    triangles_ = Upload(mesh_->Triangles(), staging, pool);
    pool.Destroy(staging);

    const auto count = static_cast<std::uint32_t>(mesh_->Triangles().size());
    for (std::uint32_t first = 0; first < count; first += DrawItem::kMostTriangles) {
        const std::uint32_t id = ids_.Alloc(DrawItem::kIds);
        if (id == vCoalescentAllocator::InvalidId) {
            throw std::bad_alloc();
        }
        items_.push_back({id, first, std::min(DrawItem::kMostTriangles, count - first)});
    }
}

}  // namespace frame
