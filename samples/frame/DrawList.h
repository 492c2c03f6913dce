#pragma once

// A mesh as the renderer draws it: its vertices and triangles in buffers, cut into draw items of a
// number of triangles each. A draw item owns a run of identifiers, one for every triangle that it
// can leave on the screen, so that a number says what is seen in a sample of a picture.
//
// Never changes: any thread may read.

#include <cstdint>
#include <span>

#include "BufferPool.h"
#include "Geometry.h"
#include "Mesh.h"
#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/memory/vCoalescentAllocator.h"

namespace frame {

struct DrawItem {
    // Small enough that a frame has work for several threads, large enough to be worth a job.
    static constexpr std::uint32_t kMostTriangles = 128;
    static constexpr std::uint32_t kIds = kMostTriangles * kMostPieces;

    std::uint32_t firstId;  // a multiple of kIds
    std::uint32_t firstTriangle;
    std::uint32_t triangleCount;
};

class DrawList {
public:
    // Copies the mesh into `pool`, which outlives the list. Throws std::bad_alloc.
    DrawList(ZKL::vRefPtr<Mesh> mesh, BufferPool& pool);

    const Mesh& Source() const { return *mesh_; }
    std::span<const Mesh::Vertex> Vertices() const {
        return {static_cast<const Mesh::Vertex*>(pool_.Data(vertices_)), mesh_->Vertices().size()};
    }
    std::span<const Mesh::Triangle> Triangles() const {
        return {static_cast<const Mesh::Triangle*>(pool_.Data(triangles_)),
                mesh_->Triangles().size()};
    }
    // In the order of the mesh; that of an identifier is number id / DrawItem::kIds.
    std::span<const DrawItem> Items() const { return items_; }
    const vCoalescentAllocator& Ids() const { return ids_; }

private:
    const ZKL::vRefPtr<Mesh> mesh_;
    const BufferPool& pool_;
    vCoalescentAllocator ids_;
    Vector<DrawItem> items_;
    BufferPool::Buffer vertices_;
    BufferPool::Buffer triangles_;
};

}  // namespace frame
