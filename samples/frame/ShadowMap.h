#pragma once

// What the key light sees: a depth map, filled in bands that any number of jobs may share, and the
// soft-edged question how much of the light reaches a point.

#include <cstddef>
#include <cstdint>
#include <glm/vec3.hpp>
#include <span>

#include "Geometry.h"
#include "ShadowSpace.h"

namespace frame {

class ShadowMap {
public:
    static constexpr std::int32_t kSide = kShadowSide;
    static constexpr std::int32_t kBands = 16;
    static constexpr std::int32_t kBandRows = kSide / kBands;
    static constexpr std::size_t kBytes = std::size_t{kSide} * kSide * sizeof(float);

    // Keeps its depths in `memory`, kBytes large, which stays the caller's.
    void SetMemory(float* memory) { depths_ = memory; }

    // Clears and draws the rows of one band.
    void FillBand(std::int32_t band, std::span<const Mesh::Triangle> triangles,
                  const TransformedVertex* vertices);

    // The part of the light, 0 to 1, that reaches a point, given in texels and depth. The penumbra
    // widens with the distance to what casts the shadow. All bands must be filled.
    float Visibility(const glm::vec3& place) const;

private:
    static constexpr std::int32_t kCell = 16;  // texels
    static constexpr std::int32_t kCells = kSide / kCell;

    struct Blockers {
        int share;       // of kSearchLooks
        float distance;  // their mean distance to the point
    };

    void DrawRows(std::int32_t y0, std::int32_t y1, const TransformedVertex& a,
                  const TransformedVertex& b, const TransformedVertex& c);
    void SummariseBand(std::int32_t band);
    bool IsClear(const glm::vec3& place, float reach) const;
    float* Row(std::ptrdiff_t y) const { return depths_ + y * kSide; }
    // Both coordinates within the map.
    float Depth(float x, float y) const {
        return Row(static_cast<std::int32_t>(y))[static_cast<std::int32_t>(x)];
    }
    Blockers FindBlockers(const glm::vec3& place) const;
    float Filter(const glm::vec3& place, float radius) const;
    float LitShare(float x, float y, float depth) const;

    static constexpr float kFar = 1e30f;

    float* depths_ = nullptr;
    float cellNearest_[kCells * kCells];
};

}  // namespace frame
