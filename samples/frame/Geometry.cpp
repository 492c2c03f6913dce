#include "Geometry.h"

#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <utility>

namespace frame {
namespace {

// How far beyond the screen, in half screens, a triangle may reach before it is cut: keeps the
// fixed-point numbers within 22 bits at the largest picture.
constexpr float kGuardBand = 3.0f;

// Visible where the product with the clip coordinates is not negative.
constexpr glm::vec4 kPlanes[] = {
    {0, 0, 1, 0},            // near
    {1, 0, 0, kGuardBand},   // left
    {-1, 0, 0, kGuardBand},  // right
    {0, 1, 0, kGuardBand},   // bottom
    {0, -1, 0, kGuardBand},  // top
};
constexpr int kMostCorners = 3 + static_cast<int>(std::size(kPlanes));
static_assert(kMostPieces == kMostCorners - 2);

struct ClipVertex {
    glm::vec4 clip;
    glm::vec3 world;
    glm::vec3 normal;
    glm::vec3 object;
};

struct Polygon {
    ClipVertex corners[kMostCorners];
    int count = 0;

    void Add(const ClipVertex& corner) { corners[count++] = corner; }
};

// Always from the inner to the outer vertex, so that two triangles cut a shared edge alike.
ClipVertex Cut(const ClipVertex& inside, const ClipVertex& outside, float in, float out) {
    const float t = in / (in - out);
    return {glm::mix(inside.clip, outside.clip, t), glm::mix(inside.world, outside.world, t),
            glm::mix(inside.normal, outside.normal, t), glm::mix(inside.object, outside.object, t)};
}

void ClipAgainst(const glm::vec4& plane, const Polygon& in, Polygon& out) {
    out.count = 0;
    for (int i = 0; i < in.count; ++i) {
        const ClipVertex& a = in.corners[i];
        const ClipVertex& b = in.corners[(i + 1) % in.count];
        const float da = glm::dot(plane, a.clip);
        const float db = glm::dot(plane, b.clip);
        if (da >= 0.0f) {
            out.Add(a);
        }
        if ((da >= 0.0f) != (db >= 0.0f)) {
            out.Add(da >= 0.0f ? Cut(a, b, da, db) : Cut(b, a, db, da));
        }
    }
}

bool NeedsClipping(const Polygon& polygon) {
    for (const glm::vec4& plane : kPlanes) {
        for (int i = 0; i < polygon.count; ++i) {
            if (glm::dot(plane, polygon.corners[i].clip) < 0.0f) {
                return true;
            }
        }
    }
    return false;
}

std::int32_t ToFixed(float pixels) {
    return static_cast<std::int32_t>(std::floor(pixels * static_cast<float>(kSubpixels) + 0.5f));
}

ScreenVertex ToScreen(const ClipVertex& vertex, float halfWidth, float halfHeight) {
    const float inverseW = 1.0f / vertex.clip.w;
    return {ToFixed((vertex.clip.x * inverseW + 1.0f) * halfWidth),
            ToFixed((1.0f - vertex.clip.y * inverseW) * halfHeight),
            inverseW,
            vertex.world,
            vertex.normal,
            vertex.object};
}

// Twice the area, positive when the corners run clockwise on the screen.
std::int64_t TwiceArea(const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c) {
    return std::int64_t{b.x - a.x} * (c.y - a.y) - std::int64_t{c.x - a.x} * (b.y - a.y);
}

void Emit(ScreenVertex a, ScreenVertex b, ScreenVertex c, std::uint32_t material,
          Vector<ScreenTriangle>& out) {
    std::int64_t area = TwiceArea(a, b, c);
    if (area == 0) {
        return;
    }
    if (area < 0) {
        std::swap(b, c);
        area = -area;
    }
    const float inverseArea = 1.0f / static_cast<float>(area);
    const float db = b.inverseW - a.inverseW;
    const float dc = c.inverseW - a.inverseW;
    const float dx = (db * static_cast<float>(c.y - a.y) - dc * static_cast<float>(b.y - a.y));
    const float dy = (dc * static_cast<float>(b.x - a.x) - db * static_cast<float>(c.x - a.x));
    out.push_back({{a, b, c}, material, inverseArea, dx * inverseArea, dy * inverseArea});
}

}  // namespace

void TransformVertices(std::span<const Mesh::Vertex> in, const View& view, TransformedVertex* out) {
    for (const Mesh::Vertex& vertex : in) {
        const glm::vec4 world = view.worldFromObject * glm::vec4(vertex.position, 1.0f);
        const glm::vec4 shadow = view.shadowFromWorld * world;
        *out++ = {view.clipFromWorld * world,
                  glm::vec3(world),
                  glm::vec3(view.worldFromObject * glm::vec4(vertex.normal, 0.0f)),
                  vertex.position,
                  ToFixed(shadow.x),
                  ToFixed(shadow.y),
                  shadow.z};
    }
}

void ClipTriangle(const Mesh::Triangle& triangle, const TransformedVertex* vertices,
                  std::uint32_t width, std::uint32_t height, Vector<ScreenTriangle>& out) {
    Polygon polygons[2];
    for (const std::uint32_t index : triangle.vertices) {
        const TransformedVertex& v = vertices[index];
        polygons[0].Add({v.clip, v.world, v.normal, v.object});
    }
    int current = 0;
    if (NeedsClipping(polygons[0])) {
        for (const glm::vec4& plane : kPlanes) {
            ClipAgainst(plane, polygons[current], polygons[1 - current]);
            current = 1 - current;
        }
    }
    const Polygon& polygon = polygons[current];
    if (polygon.count < 3) {
        return;
    }
    const float halfWidth = static_cast<float>(width) * 0.5f;
    const float halfHeight = static_cast<float>(height) * 0.5f;
    ScreenVertex corners[kMostCorners];
    for (int i = 0; i < polygon.count; ++i) {
        corners[i] = ToScreen(polygon.corners[i], halfWidth, halfHeight);
    }
    for (int i = 2; i < polygon.count; ++i) {
        Emit(corners[0], corners[i - 1], corners[i], triangle.material, out);
    }
}

}  // namespace frame
