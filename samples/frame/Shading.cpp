#include "Shading.h"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/vec2.hpp>

#include "DeterministicMath.h"
#include "Look.h"
#include "Noise.h"

namespace frame {
namespace {

constexpr glm::vec3 kKeyLight(3.10f, 2.85f, 2.45f);
constexpr glm::vec3 kFillLight(0.26f, 0.40f, 0.62f);
constexpr glm::vec3 kRimLight(0.75f, 0.95f, 1.25f);
constexpr glm::vec3 kSkyLight(0.46f, 0.56f, 0.68f);
constexpr glm::vec3 kBounceLight(0.20f, 0.17f, 0.13f);
constexpr glm::vec3 kFloorColour(0.205f, 0.215f, 0.222f);
constexpr glm::vec3 kHorizon(0.105f, 0.150f, 0.178f);
constexpr glm::vec3 kZenith(0.014f, 0.024f, 0.033f);
const glm::vec3 kToFill = glm::normalize(glm::vec3(0.85f, 0.35f, 0.55f));
const glm::vec3 kToRim = glm::normalize(glm::vec3(0.35f, 0.45f, -1.0f));

// A point on a surface; all vectors are of unit length.
struct Point {
    glm::vec3 world;
    glm::vec3 normal;
    glm::vec3 object;
    glm::vec3 toEye;
};

float SmoothStep(float low, float high, float x) {
    const float t = std::clamp((x - low) * (1.0f / (high - low)), 0.0f, 1.0f);
    return t * t * (3.0f - 2.0f * t);
}

// A rational fit of the film curve used in the motion picture industry's colour encoding.
glm::vec3 ToDisplay(const glm::vec3& incoming) {
    const glm::vec3 light = incoming * CurrentLook().exposure;
    const glm::vec3 mapped =
        (light * (light * 2.51f + 0.03f)) / (light * (light * 2.43f + 0.59f) + 0.14f);
    return glm::clamp(mapped, 0.0f, 1.0f);
}

std::int64_t Edge(const ScreenVertex& a, const ScreenVertex& b, std::int64_t x, std::int64_t y) {
    return std::int64_t{b.x - a.x} * (y - a.y) - std::int64_t{b.y - a.y} * (x - a.x);
}

// The shares of the three corners in a point: what is linear over the screen is an attribute over
// w, and 1/w.
struct Shares {
    float a, b, c;

    Shares(const ScreenVertex* v, std::int32_t x, std::int32_t y)
        : a(static_cast<float>(Edge(v[1], v[2], x, y)) * v[0].inverseW),
          b(static_cast<float>(Edge(v[2], v[0], x, y)) * v[1].inverseW),
          c(static_cast<float>(Edge(v[0], v[1], x, y)) * v[2].inverseW) {
        const float scale = 1.0f / (a + b + c);
        a *= scale;
        b *= scale;
        c *= scale;
    }

    glm::vec3 Of(const ScreenVertex* v, glm::vec3 ScreenVertex::*attribute) const {
        return v[0].*attribute * a + v[1].*attribute * b + v[2].*attribute * c;
    }
};

Point Interpolate(const ScreenVertex* v, std::int32_t x, std::int32_t y, const View& view) {
    const Shares shares(v, x, y);
    Point point;
    point.world = shares.Of(v, &ScreenVertex::world);
    point.object = shares.Of(v, &ScreenVertex::object);
    point.normal = glm::normalize(shares.Of(v, &ScreenVertex::normal));
    point.toEye = glm::normalize(view.eye - point.world);
    // The side of the flat triangle that is seen is the side that is lit. (Close to a silhouette
    // the smooth normal may point away from the eye and is right to.)
    const glm::vec3 flat = glm::cross(v[1].world - v[0].world, v[2].world - v[0].world);
    if (glm::dot(point.normal, flat) * glm::dot(flat, point.toEye) < 0.0f) {
        point.normal = -point.normal;
    }
    return point;
}

// `slope`: 0 where the surface faces the light, 1 where it stands along it.
float KeyVisibility(const glm::vec3& world, const glm::vec3& normal, float slope,
                    const Scene& scene) {
    if (!CurrentLook().shadows) {
        return 1.0f;
    }
    // Asks a little above the surface, more so at grazing light, or it would shade itself.
    const glm::vec4 above(world + normal * (0.004f + 0.012f * slope), 1.0f);
    return scene.shadows->Visibility(glm::vec3(scene.view->shadowFromWorld * above));
}

glm::vec3 LightModel(const Point& point, const Material& material, const Scene& scene) {
    glm::vec3 albedo = material.colour;
    if (material.grainScale > 0.0f) {
        const float grain =
            SmoothStep(0.25f, 0.75f, Grain(point.object * material.grainScale * 2.0f));
        albedo = glm::mix(material.colour, material.grainColour, grain);
    }
    const glm::vec3& n = point.normal;
    const float key = std::max(glm::dot(n, scene.view->toKey), 0.0f);
    const float lit = key > 0.0f ? key * KeyVisibility(point.world, n, 1.0f - key, scene) : 0.0f;
    const float fill = std::max(glm::dot(n, kToFill), 0.0f);
    // Less of the sky is seen close to the floor and from below.
    const float open = 0.45f + 0.55f * SmoothStep(-0.05f, 0.55f, point.world.y + 0.25f * n.y);
    const glm::vec3 ambient = glm::mix(kBounceLight, kSkyLight, 0.5f + 0.5f * n.y) * open;
    const float gloss = PowerOfTwoPower(
        std::max(glm::dot(n, glm::normalize(scene.view->toKey + point.toEye)), 0.0f), 6);
    const float facing = 1.0f - std::max(glm::dot(n, point.toEye), 0.0f);
    const float rim = facing * facing * facing * std::max(glm::dot(n, kToRim) + 0.35f, 0.0f);
    return albedo * (kKeyLight * lit + kFillLight * fill + ambient) +
           kKeyLight * (gloss * lit * material.gloss * 0.35f) + kRimLight * (rim * 0.55f);
}

glm::vec3 BackdropLight(float y, const Scene& scene) {
    const float up = 1.0f - y / static_cast<float>(scene.height);
    return glm::mix(kHorizon, kZenith, SmoothStep(0.30f, 1.05f, up));
}

// The floor is a pool of light that runs into the backdrop.
glm::vec3 LightFloor(const glm::vec3& world, float y, const Scene& scene) {
    const float radius = std::sqrt(world.x * world.x + world.z * world.z);
    const float pool = 1.0f - SmoothStep(0.2f, 2.7f, radius);
    const float facing = scene.view->toKey.y;
    const float lit =
        facing * KeyVisibility(world, glm::vec3(0.0f, 1.0f, 0.0f), 1.0f - facing, scene);
    const float contact = 0.55f + 0.45f * SmoothStep(0.15f, 1.05f, radius);
    const glm::vec3 light =
        kKeyLight * (lit * (0.12f + 0.58f * pool)) + kSkyLight * (contact * (0.25f + 0.30f * pool));
    const float haze = SmoothStep(1.0f, 4.2f, radius);
    return glm::mix(kFloorColour * light, BackdropLight(y, scene), haze);
}

}  // namespace

glm::vec3 ShadeSurface(const ScreenTriangle& triangle, std::int32_t x, std::int32_t y,
                       const Scene& scene) {
    const ScreenVertex* const v = triangle.vertices;
    if (triangle.material == Mesh::kFloor) {
        const glm::vec3 world = Shares(v, x, y).Of(v, &ScreenVertex::world);
        const float row = static_cast<float>(y) / static_cast<float>(kSubpixels);
        return ToDisplay(LightFloor(world, row, scene));
    }
    const Material& material = scene.list->Source().Materials()[triangle.material];
    return ToDisplay(LightModel(Interpolate(v, x, y, *scene.view), material, scene));
}

glm::vec3 ShadeBackdrop(std::int32_t, std::int32_t y, const Scene& scene) {
    return ToDisplay(BackdropLight(static_cast<float>(y) + 0.5f, scene));
}

}  // namespace frame
