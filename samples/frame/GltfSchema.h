#pragma once

// What kinds of values a glTF document may hold where. A document that passes can be read without
// asking again: what is there is of the right kind.

#include "ZelREKernel/json/ZelJSONValue.h"

namespace frame {

// Throws std::runtime_error with one line that names the first value of a wrong kind.
void CheckGltfSchema(const ZelJSONValue& document);

}  // namespace frame
