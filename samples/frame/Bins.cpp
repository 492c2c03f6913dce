#include "Bins.h"

#include <algorithm>

namespace frame {
namespace {

// The tiles that the box around a triangle touches; none when x1 <= x0 or y1 <= y0.
TileGrid::Rect TouchedTiles(const ScreenTriangle& triangle, const TileGrid& grid) {
    const ScreenVertex* v = triangle.vertices;
    constexpr int kShift = kSubpixelBits + 5;
    static_assert(TileGrid::kSide == 1u << 5);
    const auto [lowX, highX] = std::minmax({v[0].x, v[1].x, v[2].x});
    const auto [lowY, highY] = std::minmax({v[0].y, v[1].y, v[2].y});
    return {std::max(lowX >> kShift, 0), std::max(lowY >> kShift, 0),
            std::min((highX >> kShift) + 1, static_cast<std::int32_t>(grid.Columns())),
            std::min((highY >> kShift) + 1, static_cast<std::int32_t>(grid.Rows()))};
}

template <typename Visit>
void ForEachTouchedTile(const ScreenTriangle& triangle, const TileGrid& grid, Visit visit) {
    const TileGrid::Rect touched = TouchedTiles(triangle, grid);
    for (std::int32_t y = touched.y0; y < touched.y1; ++y) {
        for (std::int32_t x = touched.x0; x < touched.x1; ++x) {
            visit(static_cast<std::uint32_t>(y) * grid.Columns() + static_cast<std::uint32_t>(x));
        }
    }
}

}  // namespace

TileGrid::Rect TileGrid::Tile(std::uint32_t index) const {
    const std::uint32_t x = index % Columns() * kSide;
    const std::uint32_t y = index / Columns() * kSide;
    return {static_cast<std::int32_t>(x), static_cast<std::int32_t>(y),
            static_cast<std::int32_t>(std::min(x + kSide, width)),
            static_cast<std::int32_t>(std::min(y + kSide, height))};
}

// A counting sort by tile.
void Bins::Fill(std::span<const Mesh::Triangle> triangles, const TransformedVertex* vertices,
                const TileGrid& grid) {
    triangles_.clear();
    for (const Mesh::Triangle& triangle : triangles) {
        ClipTriangle(triangle, vertices, grid.width, grid.height, triangles_);
    }
    start_.assign(grid.Count() + 2, 0);
    for (const ScreenTriangle& triangle : triangles_) {
        ForEachTouchedTile(triangle, grid, [&](std::uint32_t tile) { ++start_[tile + 2]; });
    }
    for (std::size_t i = 2; i < start_.size(); ++i) {
        start_[i] += start_[i - 1];
    }
    items_.resize(start_.back());
    for (std::uint32_t i = 0; i < triangles_.size(); ++i) {
        ForEachTouchedTile(triangles_[i], grid,
                           [&](std::uint32_t tile) { items_[start_[tile + 1]++] = i; });
    }
}

}  // namespace frame
