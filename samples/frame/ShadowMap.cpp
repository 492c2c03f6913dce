#include "ShadowMap.h"

#include <algorithm>
#include <utility>

namespace frame {
namespace {

constexpr float kSearchReach = 18.0f;  // texels
constexpr float kSoftness = 26.0f;     // texels of penumbra per unit of distance
constexpr float kSharpest = 1.6f;      // texels
constexpr float kSoftest = 15.0f;      // texels
constexpr int kSearchTaps = 3;         // on each side of the middle
constexpr int kSearchLooks = (2 * kSearchTaps + 1) * (2 * kSearchTaps + 1);
constexpr int kFilterTaps = 3;

std::int64_t TwiceArea(const TransformedVertex& a, const TransformedVertex& b,
                       const TransformedVertex& c) {
    return std::int64_t{b.shadowX - a.shadowX} * (c.shadowY - a.shadowY) -
           std::int64_t{c.shadowX - a.shadowX} * (b.shadowY - a.shadowY);
}

std::int64_t Edge(const TransformedVertex& a, const TransformedVertex& b, std::int64_t x,
                  std::int64_t y) {
    return std::int64_t{b.shadowX - a.shadowX} * (y - a.shadowY) -
           std::int64_t{b.shadowY - a.shadowY} * (x - a.shadowX);
}

}  // namespace

void ShadowMap::FillBand(std::int32_t band, std::span<const Mesh::Triangle> triangles,
                         const TransformedVertex* vertices) {
    const std::int32_t y0 = band * kBandRows;
    const std::int32_t y1 = y0 + kBandRows;
    std::fill(Row(y0), Row(y1), kFar);
    for (const Mesh::Triangle& triangle : triangles) {
        const TransformedVertex& a = vertices[triangle.vertices[0]];
        const TransformedVertex& b = vertices[triangle.vertices[1]];
        const TransformedVertex& c = vertices[triangle.vertices[2]];
        // Both sides of a triangle cast a shadow.
        if (TwiceArea(a, b, c) > 0) {
            DrawRows(y0, y1, a, b, c);
        } else {
            DrawRows(y0, y1, a, c, b);
        }
    }
    SummariseBand(band);
}

void ShadowMap::DrawRows(std::int32_t y0, std::int32_t y1, const TransformedVertex& a,
                         const TransformedVertex& b, const TransformedVertex& c) {
    const auto [lowY, highY] = std::minmax({a.shadowY, b.shadowY, c.shadowY});
    const std::int32_t top = std::max(lowY >> kSubpixelBits, y0);
    const std::int32_t bottom = std::min((highY >> kSubpixelBits) + 1, y1);
    const std::int64_t area = TwiceArea(a, b, c);
    if (top >= bottom || area == 0) {
        return;
    }
    const auto [lowX, highX] = std::minmax({a.shadowX, b.shadowX, c.shadowX});
    const std::int32_t left = std::max(lowX >> kSubpixelBits, 0);
    const std::int32_t right = std::min((highX >> kSubpixelBits) + 1, kSide);
    const float inverseArea = 1.0f / static_cast<float>(area);
    for (std::int32_t y = top; y < bottom; ++y) {
        const std::int64_t py = std::int64_t{y} * kSubpixels + kSubpixels / 2;
        for (std::int32_t x = left; x < right; ++x) {
            const std::int64_t px = std::int64_t{x} * kSubpixels + kSubpixels / 2;
            const std::int64_t ab = Edge(a, b, px, py);
            const std::int64_t bc = Edge(b, c, px, py);
            const std::int64_t ca = Edge(c, a, px, py);
            if ((ab | bc | ca) < 0) {
                continue;
            }
            const float depth =
                (static_cast<float>(bc) * a.shadowDepth + static_cast<float>(ca) * b.shadowDepth +
                 static_cast<float>(ab) * c.shadowDepth) *
                inverseArea;
            float& nearest = Row(y)[x];
            nearest = std::min(nearest, depth);
        }
    }
}

// The nearest depth of each cell, so that points far from any shadow are answered by a few looks.
void ShadowMap::SummariseBand(std::int32_t band) {
    constexpr std::int32_t kCellRows = kBandRows / kCell;
    for (std::int32_t cellY = band * kCellRows; cellY < (band + 1) * kCellRows; ++cellY) {
        for (std::int32_t cellX = 0; cellX < kCells; ++cellX) {
            float nearest = kFar;
            for (std::int32_t y = 0; y < kCell; ++y) {
                const float* row = Row(cellY * kCell + y) + std::ptrdiff_t{cellX} * kCell;
                nearest = std::min(nearest, *std::min_element(row, row + kCell));
            }
            cellNearest_[cellY * kCells + cellX] = nearest;
        }
    }
}

// For a place whose surroundings within `reach` lie on the map.
bool ShadowMap::IsClear(const glm::vec3& place, float reach) const {
    const std::int32_t x0 = static_cast<std::int32_t>(place.x - reach) / kCell;
    const std::int32_t y0 = static_cast<std::int32_t>(place.y - reach) / kCell;
    const std::int32_t x1 = static_cast<std::int32_t>(place.x + reach) / kCell;
    const std::int32_t y1 = static_cast<std::int32_t>(place.y + reach) / kCell;
    for (std::int32_t y = y0; y <= y1; ++y) {
        for (std::int32_t x = x0; x <= x1; ++x) {
            if (cellNearest_[y * kCells + x] < place.z) {
                return false;
            }
        }
    }
    return true;
}

ShadowMap::Blockers ShadowMap::FindBlockers(const glm::vec3& place) const {
    constexpr float kStep = kSearchReach / static_cast<float>(kSearchTaps);
    Blockers blockers{0, 0.0f};
    for (int j = -kSearchTaps; j <= kSearchTaps; ++j) {
        for (int i = -kSearchTaps; i <= kSearchTaps; ++i) {
            const float depth = Depth(place.x + static_cast<float>(i) * kStep,
                                      place.y + static_cast<float>(j) * kStep);
            if (depth < place.z) {
                blockers.distance += place.z - depth;
                ++blockers.share;
            }
        }
    }
    blockers.distance /= static_cast<float>(std::max(blockers.share, 1));
    return blockers;
}

// Blends the answers of the four texels around a point, so that shadows have no steps.
float ShadowMap::LitShare(float x, float y, float depth) const {
    const auto ix = static_cast<std::int32_t>(x - 0.5f);
    const auto iy = static_cast<std::int32_t>(y - 0.5f);
    const float fx = x - 0.5f - static_cast<float>(ix);
    const float fy = y - 0.5f - static_cast<float>(iy);
    const float* const upper = Row(iy) + ix;
    const float* const lower = upper + kSide;
    const auto lit = [depth](float texel) { return texel < depth ? 0.0f : 1.0f; };
    const float above = lit(upper[0]) * (1.0f - fx) + lit(upper[1]) * fx;
    const float below = lit(lower[0]) * (1.0f - fx) + lit(lower[1]) * fx;
    return above * (1.0f - fy) + below * fy;
}

float ShadowMap::Filter(const glm::vec3& place, float radius) const {
    const float step = radius / static_cast<float>(kFilterTaps);
    float sum = 0.0f;
    float weights = 0.0f;
    for (int j = -kFilterTaps; j <= kFilterTaps; ++j) {
        for (int i = -kFilterTaps; i <= kFilterTaps; ++i) {
            // Falls off to the rim, which hides the square.
            const auto weight =
                static_cast<float>(2 * kFilterTaps * kFilterTaps + 2 - i * i - j * j);
            sum += weight * LitShare(place.x + static_cast<float>(i) * step,
                                     place.y + static_cast<float>(j) * step, place.z);
            weights += weight;
        }
    }
    return sum / weights;
}

float ShadowMap::Visibility(const glm::vec3& place) const {
    constexpr float kReach = kSearchReach + 1.0f;
    static_assert(kSoftest <= kSearchReach);
    static_assert(static_cast<float>(kSide) * 0.5f * (1.0f - 1.0f / kShadowMargin) > 2.0f * kReach,
                  "outside the margin no point is in a shadow");
    constexpr float kEnd = static_cast<float>(kSide) - kReach - 1.0f;
    if (!(place.x >= kReach && place.y >= kReach && place.x < kEnd && place.y < kEnd) ||
        IsClear(place, kReach)) {
        return 1.0f;
    }
    const Blockers blockers = FindBlockers(place);
    if (blockers.share == 0 || blockers.share == kSearchLooks) {
        return blockers.share == 0 ? 1.0f : 0.0f;
    }
    return Filter(place, std::clamp(blockers.distance * kSoftness, kSharpest, kSoftest));
}

}  // namespace frame
