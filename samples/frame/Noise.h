#pragma once

// Grain for materials: value noise in space, from integers, so that it is the same everywhere.

#include <glm/vec3.hpp>

namespace frame {

// 0 to 1, smooth; features are about one unit large.
float Grain(const glm::vec3& place);

}  // namespace frame
