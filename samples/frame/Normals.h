#pragma once

// Normals for the corners of a model: those of the file where it has sound ones, else the average
// of the faces around the position that do not turn away by more than a crease of 60 degrees,
// weighted by area.

#include <glm/vec3.hpp>
#include <vector>

#include "Model.h"

namespace frame {

// Three unit normals per triangle of `model`, in its order. O(n): only the first 64 faces around a
// position count. The result lies in the model's memory.
std::pmr::vector<glm::vec3> CornerNormals(const Model& model);

}  // namespace frame
