#include "View.h"

#include <algorithm>
#include <glm/geometric.hpp>
#include <glm/vec4.hpp>

#include "DeterministicMath.h"
#include "Look.h"
#include "ShadowSpace.h"

namespace frame {
namespace {

// The frame that looks the model in the face.
constexpr double kFrontFrame = 140.0;
constexpr float kNear = 0.1f;

glm::mat4 TurnAroundY(double turns) {
    const auto c = static_cast<float>(CosTurns(turns));
    const auto s = static_cast<float>(SinTurns(turns));
    return {{c, 0, -s, 0}, {0, 1, 0, 0}, {s, 0, c, 0}, {0, 0, 0, 1}};
}

// Rows of a rotation that looks along -`back`, as a matrix from the world.
glm::mat4 LookFrom(const glm::vec3& eye, const glm::vec3& back) {
    const glm::vec3 right = glm::normalize(glm::cross(glm::vec3(0, 1, 0), back));
    const glm::vec3 up = glm::cross(back, right);
    return {{right.x, up.x, back.x, 0},
            {right.y, up.y, back.y, 0},
            {right.z, up.z, back.z, 0},
            {-glm::dot(right, eye), -glm::dot(up, eye), -glm::dot(back, eye), 1}};
}

// An infinite projection: w is the distance along the view, z is only there for the near plane
// (z < 0 before it).
glm::mat4 Project(float aspect, float focal) {
    return {{focal / aspect, 0, 0, 0}, {0, focal, 0, 0}, {0, 0, -1, -1}, {0, 0, -kNear, 0}};
}

// Orthographic; the model's surrounding sphere, of radius 1, fills the map up to its margin.
glm::mat4 ShadowMatrix(const glm::vec3& toKey, float modelHeight) {
    const glm::vec3 centre(0.0f, modelHeight * 0.5f, 0.0f);
    const glm::mat4 view = LookFrom(centre, toKey);
    const float half = static_cast<float>(kShadowSide) * 0.5f;
    const float scale = half / kShadowMargin;
    const glm::mat4 toTexels = {
        {scale, 0, 0, 0}, {0, -scale, 0, 0}, {0, 0, -1, 0}, {half, half, 0, 1}};
    return toTexels * view;
}

}  // namespace

Camera::Camera(std::uint32_t width, std::uint32_t height, float modelHeight)
    : aspect_(static_cast<float>(width) / static_cast<float>(height)), modelHeight_(modelHeight) {}

View Camera::At(std::uint32_t frameNumber) const {
    const Look& look = CurrentLook();
    const double time = (static_cast<double>(frameNumber) - kFrontFrame) / look.turnFrames;
    View view;
    view.worldFromObject = TurnAroundY(time + 0.53);
    const glm::vec3 target(0.0f, modelHeight_ * 0.36f, 0.0f);
    const auto lift = static_cast<float>(0.40 + 0.05 * SinTurns(time * 2.0));
    const glm::vec3 back = glm::normalize(glm::vec3(0.0f, lift, 1.0f));
    // A narrow picture needs more distance to hold the same width.
    const float distance = 2.45f / std::min(1.0f, aspect_ * 0.75f);
    view.eye = target + back * distance;
    view.clipFromWorld = Project(aspect_, 2.5f) * LookFrom(view.eye, back);
    view.toKey = glm::normalize(glm::vec3(look.lightX, look.lightY, 0.50f));
    view.shadowFromWorld = ShadowMatrix(view.toKey, modelHeight_);
    return view;
}

}  // namespace frame
