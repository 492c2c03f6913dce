#pragma once

// From the vertices of the mesh to triangles on the screen: the transform stage and the first half
// of the binning stage. Pure functions over ranges, so that any number of jobs may share the work.

#include <cstdint>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <span>

#include "KernelAllocator.h"
#include "Mesh.h"
#include "View.h"

namespace frame {

// Screen coordinates are fixed-point numbers with 8 bits after the point; y runs down.
constexpr int kSubpixelBits = 8;
constexpr std::int32_t kSubpixels = 1 << kSubpixelBits;

struct TransformedVertex {
    glm::vec4 clip;
    glm::vec3 world;
    glm::vec3 normal;
    glm::vec3 object;
    // Place in the shadow map: texels as fixed-point numbers, and the depth.
    std::int32_t shadowX;
    std::int32_t shadowY;
    float shadowDepth;
};

void TransformVertices(std::span<const Mesh::Vertex> in, const View& view, TransformedVertex* out);

struct ScreenVertex {
    std::int32_t x;
    std::int32_t y;
    float inverseW;
    glm::vec3 world;
    glm::vec3 normal;
    glm::vec3 object;
};

// A triangle after clipping, wound so that its area is positive.
struct ScreenTriangle {
    ScreenVertex vertices[3];
    std::uint32_t material;
    float inverseArea;  // of twice the area in square subpixels
    // 1/w as a plane over the screen, anchored at vertex 0, per subpixel.
    float depthDx;
    float depthDy;
};

// The most triangles that clipping makes of one.
constexpr std::uint32_t kMostPieces = 6;

// Clips triangle `indices` against the near plane and a band around the screen, and appends what
// is left to `out`: 0 to kMostPieces triangles. Those that cover nothing are left out.
void ClipTriangle(const Mesh::Triangle& triangle, const TransformedVertex* vertices,
                  std::uint32_t width, std::uint32_t height, Vector<ScreenTriangle>& out);

}  // namespace frame
