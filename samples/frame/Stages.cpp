#include "Stages.h"

#include "DeterministicMath.h"
#include "TileBuffer.h"

namespace frame {
namespace {

struct Coverage {
    std::int32_t x = 0, y = 0;  // sum of the covered samples' offsets
    int count = 0;
};

// The samples of a pixel that belong to the same owner as sample `first`; nothing when an earlier
// sample has spoken for them.
Coverage CoverageOf(const std::uint32_t* owners, int first) {
    Coverage coverage;
    for (int s = 0; s < TileBuffer::kSamples; ++s) {
        if (owners[s] != owners[first]) {
            continue;
        }
        if (s < first) {
            return {};
        }
        coverage.x += TileBuffer::kOffsets[s].x;
        coverage.y += TileBuffer::kOffsets[s].y;
        ++coverage.count;
    }
    return coverage;
}

using Triangles = Vector<const ScreenTriangle*>;

glm::vec3 ShadeOwner(std::uint32_t owner, std::int32_t x, std::int32_t y, TileBuffer::Offset offset,
                     const Triangles& triangles, const Scene& scene) {
    if (owner == TileBuffer::kNobody) {
        return ShadeBackdrop(x, y, scene);
    }
    return ShadeSurface(*triangles[owner], x * kSubpixels + kSubpixels / 2 + offset.x,
                        y * kSubpixels + kSubpixels / 2 + offset.y, scene);
}

// Each triangle is shaded once per pixel, in the middle of the samples that it covers, so that no
// surface is asked for a point outside itself.
glm::vec3 ShadePixel(const std::uint32_t* owners, std::int32_t x, std::int32_t y,
                     const Triangles& triangles, const Scene& scene) {
    if (owners[0] == owners[1] && owners[0] == owners[2] && owners[0] == owners[3]) {
        return ShadeOwner(owners[0], x, y, {0, 0}, triangles, scene);
    }
    glm::vec3 sum(0.0f);
    for (int s = 0; s < TileBuffer::kSamples; ++s) {
        const Coverage covered = CoverageOf(owners, s);
        if (covered.count != 0) {
            const TileBuffer::Offset middle{covered.x / covered.count, covered.y / covered.count};
            sum += ShadeOwner(owners[s], x, y, middle, triangles, scene) *
                   static_cast<float>(covered.count);
        }
    }
    return sum * (1.0f / TileBuffer::kSamples);
}

}  // namespace

void RenderTile(std::uint32_t tile, const TileGrid& grid, std::span<const Bins> chunks,
                const Scene& scene, float* colours) {
    const TileGrid::Rect rect = grid.Tile(tile);
    TileBuffer buffer;
    buffer.Start(rect);
    Triangles triangles;
    for (const Bins& chunk : chunks) {
        for (const std::uint32_t index : chunk.Tile(tile)) {
            buffer.Draw(chunk.Triangles()[index], static_cast<std::uint32_t>(triangles.size()));
            triangles.push_back(&chunk.Triangles()[index]);
        }
    }
    for (std::int32_t y = rect.y0; y < rect.y1; ++y) {
        for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            const glm::vec3 colour = ShadePixel(buffer.Owners(x, y), x, y, triangles, scene);
            float* const out =
                colours +
                (static_cast<std::size_t>(y) * grid.width + static_cast<std::size_t>(x)) * 3;
            out[0] = colour.r;
            out[1] = colour.g;
            out[2] = colour.b;
        }
    }
}

void EncodePixels(const float* colours, std::size_t count, std::uint8_t* bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(EncodeSrgb(colours[i]) * 255.0f + 0.5f);
    }
}

}  // namespace frame
