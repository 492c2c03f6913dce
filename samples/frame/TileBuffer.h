#pragma once

// Visibility of one tile: for four samples in each pixel, the nearest triangle. Exact where it
// matters: edges are integers with a top-left rule, so triangles that share an edge share no sample
// and leave none out; of two triangles at the same depth the one drawn first stays.

#include <cstdint>

#include "Bins.h"

namespace frame {

class TileBuffer {
public:
    static constexpr int kSamples = 4;
    static constexpr std::uint32_t kNobody = 0xFFFFFFFF;

    struct Offset {
        std::int32_t x, y;  // subpixels from the centre of the pixel
    };
    // A grid turned so that no two samples share a row or a column: edges close to level or
    // upright get all the steps that four samples have.
    static constexpr Offset kOffsets[kSamples] = {{-32, -96}, {96, -32}, {-96, 32}, {32, 96}};

    // Covers `rect`, at most TileGrid::kSide pixels on a side, with nothing in it.
    void Start(const TileGrid::Rect& rect);
    // Draws `triangle` under the name `owner`.
    void Draw(const ScreenTriangle& triangle, std::uint32_t owner);

    // The owners of the four samples of a pixel, given in pixels of the screen.
    const std::uint32_t* Owners(std::int32_t x, std::int32_t y) const {
        return owners_ + SampleIndex(x, y);
    }

private:
    struct Edges;

    std::size_t SampleIndex(std::int32_t x, std::int32_t y) const {
        const auto row = static_cast<std::size_t>(y - rect_.y0);
        const auto column = static_cast<std::size_t>(x - rect_.x0);
        return (row * TileGrid::kSide + column) * kSamples;
    }
    void DrawBlock(const ScreenTriangle& triangle, const Edges& edges, std::uint32_t owner,
                   const TileGrid::Rect& block);
    template <bool kFull>
    void DrawPixels(const ScreenTriangle& triangle, const Edges& edges, std::uint32_t owner,
                    const TileGrid::Rect& block);

    TileGrid::Rect rect_{};
    float nearest_[TileGrid::kSide * TileGrid::kSide * kSamples];  // 1/w, 0 at the horizon
    std::uint32_t owners_[TileGrid::kSide * TileGrid::kSide * kSamples];
};

}  // namespace frame
