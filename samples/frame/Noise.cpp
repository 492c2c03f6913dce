#include "Noise.h"

#include <cmath>
#include <cstdint>

namespace frame {
namespace {

float AtCorner(std::int32_t x, std::int32_t y, std::int32_t z) {
    std::uint32_t h = static_cast<std::uint32_t>(x) * 0x8da6b343u +
                      static_cast<std::uint32_t>(y) * 0xd8163841u +
                      static_cast<std::uint32_t>(z) * 0xcb1ab31fu;
    h = (h ^ (h >> 15)) * 0x2c1b3c6du;
    h = (h ^ (h >> 12)) * 0x297a2d39u;
    h ^= h >> 15;
    return static_cast<float>(h >> 8) * (1.0f / 16777215.0f);
}

float Smooth(float t) {
    return t * t * (3.0f - 2.0f * t);
}

float Blend(float a, float b, float t) {
    return a + (b - a) * t;
}

float Octave(const glm::vec3& place) {
    const glm::vec3 base(std::floor(place.x), std::floor(place.y), std::floor(place.z));
    const auto x = static_cast<std::int32_t>(base.x);
    const auto y = static_cast<std::int32_t>(base.y);
    const auto z = static_cast<std::int32_t>(base.z);
    const float tx = Smooth(place.x - base.x);
    const float ty = Smooth(place.y - base.y);
    const float tz = Smooth(place.z - base.z);
    const auto row = [&](std::int32_t dy, std::int32_t dz) {
        return Blend(AtCorner(x, y + dy, z + dz), AtCorner(x + 1, y + dy, z + dz), tx);
    };
    return Blend(Blend(row(0, 0), row(1, 0), ty), Blend(row(0, 1), row(1, 1), ty), tz);
}

}  // namespace

float Grain(const glm::vec3& place) {
    return Octave(place) * 0.6f + Octave(place * 2.7f) * 0.4f;
}

}  // namespace frame
