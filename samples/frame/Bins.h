#pragma once

// Which triangles touch which tile of the screen. Each draw item fills bins of its own, so
// that no two jobs share one; a tile that reads the items in order meets its triangles in the
// order of the mesh, whoever filled them first.

#include <cstddef>
#include <cstdint>
#include <span>

#include "Geometry.h"

namespace frame {

// The screen cut into square tiles, row by row.
struct TileGrid {
    static constexpr std::uint32_t kSide = 32;  // pixels

    struct Rect {
        std::int32_t x0, y0, x1, y1;  // pixels, half open
    };

    std::uint32_t width;
    std::uint32_t height;

    std::uint32_t Columns() const { return (width + kSide - 1) / kSide; }
    std::uint32_t Rows() const { return (height + kSide - 1) / kSide; }
    std::uint32_t Count() const { return Columns() * Rows(); }
    std::size_t Pixels() const { return std::size_t{width} * height; }
    Rect Tile(std::uint32_t index) const;
};

class Bins {
public:
    // Clips `triangles` and sorts what is left into the tiles of `grid`. What an earlier frame
    // needed is kept as room for this one: an arena would have to be shared by the jobs.
    void Fill(std::span<const Mesh::Triangle> triangles, const TransformedVertex* vertices,
              const TileGrid& grid);

    const Vector<ScreenTriangle>& Triangles() const { return triangles_; }
    // Numbers of the triangles that touch a tile, rising.
    std::span<const std::uint32_t> Tile(std::uint32_t index) const {
        return {items_.data() + start_[index], start_[index + 1] - start_[index]};
    }

private:
    Vector<ScreenTriangle> triangles_;
    Vector<std::uint32_t> start_;
    Vector<std::uint32_t> items_;
};

}  // namespace frame
