#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "DeterministicMath.h"
#include "Geometry.h"
#include "TileBuffer.h"

namespace {

using frame::ScreenTriangle;
using frame::TileBuffer;
using frame::TileGrid;
using frame::TransformedVertex;
using frame::Vector;

constexpr std::int32_t kSide = TileGrid::kSide;
constexpr std::uint32_t kScreen = TileGrid::kSide;
constexpr std::size_t kSamples = std::size_t{kScreen} * kScreen * TileBuffer::kSamples;

// A vertex at clip coordinates.
TransformedVertex At(float x, float y, float w) {
    TransformedVertex vertex{};
    vertex.clip = {x * w, y * w, w - 0.1f, w};
    return vertex;
}

void Clip(const std::vector<TransformedVertex>& vertices, std::uint32_t a, std::uint32_t b,
          std::uint32_t c, Vector<ScreenTriangle>& out) {
    frame::ClipTriangle({{a, b, c}, 0}, vertices.data(), kScreen, kScreen, out);
}

// Draws each triangle alone and counts for every sample how many cover it.
std::vector<int> CountCoverage(const Vector<ScreenTriangle>& triangles) {
    std::vector<int> counts(kSamples);
    const auto buffer = std::make_unique<TileBuffer>();
    for (const ScreenTriangle& triangle : triangles) {
        buffer->Start({0, 0, kSide, kSide});
        buffer->Draw(triangle, 1);
        for (std::int32_t i = 0; i < kSide * kSide * TileBuffer::kSamples; ++i) {
            const std::int32_t pixel = i / TileBuffer::kSamples;
            counts[static_cast<std::size_t>(i)] +=
                buffer->Owners(pixel % kSide, pixel / kSide)[i % TileBuffer::kSamples] == 1;
        }
    }
    return counts;
}

// A net of triangles over the whole screen, its knots where random numbers put them, some right on
// sample positions, with either winding: every sample belongs to exactly one triangle.
TEST(Raster, TrianglesThatShareEdgesShareNoSampleAndLeaveNone) {
    std::mt19937 random(1);
    for (int round = 0; round < 20; ++round) {
        constexpr std::uint32_t kKnots = 6;
        std::vector<TransformedVertex> vertices;
        for (std::uint32_t j = 0; j < kKnots; ++j) {
            for (std::uint32_t i = 0; i < kKnots; ++i) {
                const bool isInner = i % (kKnots - 1) != 0 && j % (kKnots - 1) != 0;
                const auto jitter = [&] {
                    const auto step = static_cast<float>(random() % 17) - 8.0f;
                    return isInner ? step / 8.0f * (round % 2 == 0 ? 0.14f : 1.0f / 8.0f) : 0.0f;
                };
                vertices.push_back(At(static_cast<float>(i) * 0.5f - 1.25f + jitter(),
                                      static_cast<float>(j) * 0.5f - 1.25f + jitter(),
                                      1.0f + static_cast<float>(random() % 4)));
            }
        }
        Vector<ScreenTriangle> triangles;
        for (std::uint32_t j = 0; j + 1 < kKnots; ++j) {
            for (std::uint32_t i = 0; i + 1 < kKnots; ++i) {
                const std::uint32_t a = j * kKnots + i;
                Clip(vertices, a, a + 1, a + kKnots, triangles);
                Clip(vertices, a + 1, a + kKnots, a + kKnots + 1, triangles);
            }
        }
        const std::vector<int> counts = CountCoverage(triangles);
        EXPECT_EQ(std::count(counts.begin(), counts.end(), 1),
                  static_cast<std::ptrdiff_t>(counts.size()))
            << "round " << round;
    }
}

// A floor that runs under the eye and to either side far beyond the screen, as two triangles: what
// is drawn of it is exactly what lies below the horizon, each sample once.
TEST(Raster, ClippingKeepsWhatIsInFrontOfTheEye) {
    const auto floorAt = [](float x, float depth) {
        TransformedVertex vertex{};
        vertex.clip = {x, -1.0f, depth - 0.1f, depth};
        return vertex;
    };
    for (const float reach : {2.0f, 50.0f, 5000.0f}) {
        const std::vector<TransformedVertex> vertices = {
            floorAt(-reach, -reach), floorAt(reach, -reach), floorAt(-reach, reach),
            floorAt(reach, reach)};
        Vector<ScreenTriangle> triangles;
        Clip(vertices, 0, 1, 2, triangles);
        Clip(vertices, 1, 3, 2, triangles);
        const std::vector<int> counts = CountCoverage(triangles);
        // The far edge stands at 1/reach of the half screen below the middle.
        const double edge = (1.0 + 1.0 / static_cast<double>(reach)) * kSide / 2.0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            const auto pixel = static_cast<std::int32_t>(i) / TileBuffer::kSamples;
            const TileBuffer::Offset offset = TileBuffer::kOffsets[i % TileBuffer::kSamples];
            const std::int32_t row = pixel / kSide;
            const double y = row + 0.5 + offset.y / 256.0;
            if (std::fabs(y - edge) > 0.02) {
                ASSERT_EQ(counts[i], y > edge) << "reach " << reach << ", sample " << i;
            }
        }
    }
    const std::vector<TransformedVertex> behind = {At(0, 0, -1), At(1, 0, -2), At(0, 1, 0.05f)};
    const std::vector<TransformedVertex> beside = {At(9, 0, 1), At(8, 1, 1), At(8, 0, 2)};
    Vector<ScreenTriangle> triangles;
    Clip(behind, 0, 1, 2, triangles);
    Clip(beside, 0, 1, 2, triangles);
    EXPECT_TRUE(triangles.empty());
}

}  // namespace
