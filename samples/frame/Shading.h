#pragma once

// The look of the picture: materials, lights, backdrop and the curve from light to display.

#include <cstdint>
#include <glm/vec3.hpp>

#include "DrawList.h"
#include "Geometry.h"
#include "ShadowMap.h"
#include "View.h"

namespace frame {

// What shading a point needs to know of its frame.
struct Scene {
    const View* view;
    const ShadowMap* shadows;
    const DrawList* list;
    std::uint32_t width;
    std::uint32_t height;
};

// The colours of the display before its transfer function, each 0 to 1.
// The surface of `triangle` at a place on the screen inside it, in subpixels.
glm::vec3 ShadeSurface(const ScreenTriangle& triangle, std::int32_t x, std::int32_t y,
                       const Scene& scene);
// What is behind everything, at a pixel.
glm::vec3 ShadeBackdrop(std::int32_t x, std::int32_t y, const Scene& scene);

}  // namespace frame
