#pragma once

// Where everything stands in one frame: the model, the camera and the key light.

#include <cstdint>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "ZelREKernel/core/vSmartPtrObject.h"

namespace frame {

struct View {
    glm::mat4 worldFromObject;  // a rotation
    glm::mat4 clipFromWorld;
    glm::mat4 shadowFromWorld;  // to texels of the shadow map; z grows away from the light
    glm::vec3 eye;
    glm::vec3 toKey;  // unit vector
};

// Moves by frame number alone, never by the clock. Shared by the renderer and whoever follows it.
class Camera : public ZKL::vSmartPtrObject {
public:
    // `modelHeight`: the height of a model that stands within a radius of 1.
    Camera(std::uint32_t width, std::uint32_t height, float modelHeight);

    View At(std::uint32_t frameNumber) const;

private:
    float aspect_;
    float modelHeight_;
};

}  // namespace frame
