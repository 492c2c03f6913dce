#include "TileBuffer.h"

#include <algorithm>

namespace frame {
namespace {

constexpr std::int32_t kBlock = 8;  // pixels on a side that are accepted or rejected together
constexpr std::int32_t kHalf = kSubpixels / 2;
// The farthest a sample of a block lies from the block's centre, in subpixels.
constexpr std::int64_t kBlockReach = (kBlock * kSubpixels) / 2;

// Level edges on top and edges on the left own the samples that they run through.
bool IsTopLeft(std::int64_t dx, std::int64_t dy) {
    return dy < 0 || (dy == 0 && dx > 0);
}

}  // namespace

// The three edge functions; a sample is inside where all are at least 0.
struct TileBuffer::Edges {
    std::int64_t dx[3], dy[3], origin[3];
    std::int64_t atSample[3][kSamples];

    explicit Edges(const ScreenTriangle& triangle) {
        for (int i = 0; i < 3; ++i) {
            const ScreenVertex& a = triangle.vertices[i];
            const ScreenVertex& b = triangle.vertices[(i + 1) % 3];
            dx[i] = b.x - a.x;
            dy[i] = b.y - a.y;
            origin[i] = dy[i] * a.x - dx[i] * a.y - (IsTopLeft(dx[i], dy[i]) ? 0 : 1);
            for (int s = 0; s < kSamples; ++s) {
                atSample[i][s] = dx[i] * kOffsets[s].y - dy[i] * kOffsets[s].x;
            }
        }
    }

    std::int64_t At(int edge, std::int64_t x, std::int64_t y) const {
        return origin[edge] + dx[edge] * y - dy[edge] * x;
    }
};

void TileBuffer::Start(const TileGrid::Rect& rect) {
    rect_ = rect;
    std::fill(std::begin(nearest_), std::end(nearest_), 0.0f);
    std::fill(std::begin(owners_), std::end(owners_), kNobody);
}

void TileBuffer::Draw(const ScreenTriangle& triangle, std::uint32_t owner) {
    const ScreenVertex* v = triangle.vertices;
    const auto [lowX, highX] = std::minmax({v[0].x, v[1].x, v[2].x});
    const auto [lowY, highY] = std::minmax({v[0].y, v[1].y, v[2].y});
    const std::int32_t x0 = std::max(lowX >> kSubpixelBits, rect_.x0) & ~(kBlock - 1);
    const std::int32_t y0 = std::max(lowY >> kSubpixelBits, rect_.y0) & ~(kBlock - 1);
    const std::int32_t x1 = std::min((highX >> kSubpixelBits) + 1, rect_.x1);
    const std::int32_t y1 = std::min((highY >> kSubpixelBits) + 1, rect_.y1);
    const Edges edges(triangle);
    for (std::int32_t y = y0; y < y1; y += kBlock) {
        for (std::int32_t x = x0; x < x1; x += kBlock) {
            DrawBlock(triangle, edges, owner,
                      {x, y, std::min(x + kBlock, rect_.x1), std::min(y + kBlock, rect_.y1)});
        }
    }
}

void TileBuffer::DrawBlock(const ScreenTriangle& triangle, const Edges& edges, std::uint32_t owner,
                           const TileGrid::Rect& block) {
    const std::int64_t x = std::int64_t{block.x0} * kSubpixels + kBlockReach;
    const std::int64_t y = std::int64_t{block.y0} * kSubpixels + kBlockReach;
    bool full = true;
    for (int i = 0; i < 3; ++i) {
        const std::int64_t centre = edges.At(i, x, y);
        const std::int64_t reach = (std::abs(edges.dx[i]) + std::abs(edges.dy[i])) * kBlockReach;
        if (centre + reach < 0) {
            return;
        }
        full = full && centre - reach >= 0;
    }
    if (full) {
        DrawPixels<true>(triangle, edges, owner, block);
    } else {
        DrawPixels<false>(triangle, edges, owner, block);
    }
}

template <bool kFull>
void TileBuffer::DrawPixels(const ScreenTriangle& triangle, const Edges& edges, std::uint32_t owner,
                            const TileGrid::Rect& block) {
    const ScreenVertex& anchor = triangle.vertices[0];
    float depthAtSample[kSamples];
    for (int s = 0; s < kSamples; ++s) {
        depthAtSample[s] = static_cast<float>(kOffsets[s].x) * triangle.depthDx +
                           static_cast<float>(kOffsets[s].y) * triangle.depthDy;
    }
    for (std::int32_t y = block.y0; y < block.y1; ++y) {
        const std::int32_t py = y * kSubpixels + kHalf;
        const float rowDepth =
            anchor.inverseW + static_cast<float>(py - anchor.y) * triangle.depthDy;
        for (std::int32_t x = block.x0; x < block.x1; ++x) {
            const std::int32_t px = x * kSubpixels + kHalf;
            const float depth = rowDepth + static_cast<float>(px - anchor.x) * triangle.depthDx;
            const std::int64_t e0 = kFull ? 0 : edges.At(0, px, py);
            const std::int64_t e1 = kFull ? 0 : edges.At(1, px, py);
            const std::int64_t e2 = kFull ? 0 : edges.At(2, px, py);
            float* const nearest = nearest_ + SampleIndex(x, y);
            std::uint32_t* const owners = owners_ + SampleIndex(x, y);
            for (int s = 0; s < kSamples; ++s) {
                // One sign bit among the three is enough to be outside.
                const bool inside =
                    kFull || ((e0 + edges.atSample[0][s]) | (e1 + edges.atSample[1][s]) |
                              (e2 + edges.atSample[2][s])) >= 0;
                const float z = depth + depthAtSample[s];
                if (inside && z > nearest[s]) {
                    nearest[s] = z;
                    owners[s] = owner;
                }
            }
        }
    }
}

}  // namespace frame
