#pragma once

// The mesh that is rendered: the model made ready (centred, standing on the ground, one unit large,
// with normals) and the floor below it. Immutable once built, so any thread may read it; its memory
// comes from the kernel's allocator and its lifetime is counted.

#include <cstdint>
#include <glm/vec3.hpp>
#include <string>

#include "KernelAllocator.h"
#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/core/vRefPtrObject.h"

namespace frame {

struct Model;

struct Material {
    glm::vec3 colour;
    glm::vec3 grainColour;  // what the grain runs to
    float grainScale;       // 0: plain
    float gloss;            // strength of the highlight
};

class Mesh : public ZKL::vRefPtrObject {
public:
    struct Vertex {
        glm::vec3 position;
        glm::vec3 normal;
    };
    struct Triangle {
        std::uint32_t vertices[3];
        std::uint32_t material;
    };

    // Material number of the floor.
    static constexpr std::uint32_t kFloor = 0xFFFFFFFF;
    // Half the side of the floor, on which the model stands within a radius of 1.
    static constexpr float kFloorExtent = 40.0f;

    // Null, with one line in `error`, when no triangle of `model` has an area.
    static ZKL::vRefPtr<Mesh> Build(const Model& model, std::string& error);

    const Vector<Vertex>& Vertices() const { return vertices_; }
    // The triangles of the model first, then those of the floor.
    const Vector<Triangle>& Triangles() const { return triangles_; }
    const Vector<Material>& Materials() const { return materials_; }
    std::uint32_t ModelTriangleCount() const { return modelTriangles_; }
    float Height() const { return height_; }

private:
    Mesh();

    void AddModel(const Model& model);
    void AddFloor();
    void DressMaterials(const Model& model);

    Vector<Vertex> vertices_;
    Vector<Triangle> triangles_;
    Vector<Material> materials_;
    std::uint32_t modelTriangles_ = 0;
    float height_ = 0.0f;
};

}  // namespace frame
