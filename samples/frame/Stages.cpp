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

// What owns a sample, by the identifier that the tile buffer keeps.
const ScreenTriangle& OwnerOf(std::uint32_t id, std::span<const Bins> bins) {
    return bins[id / DrawItem::kIds].Triangles()[id % DrawItem::kIds];
}

glm::vec3 ShadeOwner(std::uint32_t owner, std::int32_t x, std::int32_t y, TileBuffer::Offset offset,
                     std::span<const Bins> bins, const Scene& scene) {
    if (owner == TileBuffer::kNobody) {
        return ShadeBackdrop(x, y, scene);
    }
    return ShadeSurface(OwnerOf(owner, bins), x * kSubpixels + kSubpixels / 2 + offset.x,
                        y * kSubpixels + kSubpixels / 2 + offset.y, scene);
}

// Each triangle is shaded once per pixel, in the middle of the samples that it covers, so that no
// surface is asked for a point outside itself.
glm::vec3 ShadePixel(const std::uint32_t* owners, std::int32_t x, std::int32_t y,
                     std::span<const Bins> bins, const Scene& scene) {
    if (owners[0] == owners[1] && owners[0] == owners[2] && owners[0] == owners[3]) {
        return ShadeOwner(owners[0], x, y, {0, 0}, bins, scene);
    }
    glm::vec3 sum(0.0f);
    for (int s = 0; s < TileBuffer::kSamples; ++s) {
        const Coverage covered = CoverageOf(owners, s);
        if (covered.count != 0) {
            const TileBuffer::Offset middle{covered.x / covered.count, covered.y / covered.count};
            sum += ShadeOwner(owners[s], x, y, middle, bins, scene) *
                   static_cast<float>(covered.count);
        }
    }
    return sum * (1.0f / TileBuffer::kSamples);
}

// Draws what touches a tile, in the order of the mesh.
void DrawTile(std::uint32_t tile, std::span<const Bins> bins, std::span<const DrawItem> items,
              TileBuffer& buffer) {
    for (std::size_t item = 0; item < items.size(); ++item) {
        for (const std::uint32_t index : bins[item].Tile(tile)) {
            buffer.Draw(bins[item].Triangles()[index], items[item].firstId + index);
        }
    }
}

}  // namespace

void RenderTile(std::uint32_t tile, const TileGrid& grid, std::span<const Bins> bins,
                const Scene& scene, float* colours) {
    const TileGrid::Rect rect = grid.Tile(tile);
    TileBuffer buffer;
    buffer.Start(rect);
    DrawTile(tile, bins, scene.list->Items(), buffer);
    for (std::int32_t y = rect.y0; y < rect.y1; ++y) {
        const std::size_t first = static_cast<std::size_t>(y) * grid.width;
        float* out = colours + (first + static_cast<std::size_t>(rect.x0)) * 3;
        for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            const glm::vec3 colour = ShadePixel(buffer.Owners(x, y), x, y, bins, scene);
            *out++ = colour.r;
            *out++ = colour.g;
            *out++ = colour.b;
        }
    }
}

void EncodePixels(const float* colours, std::size_t count, std::uint8_t* bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        const float rounded = EncodeSrgb(colours[i]) * 255.0f + 0.5f;
        bytes[i] = static_cast<std::uint8_t>(rounded);
    }
}

}  // namespace frame
