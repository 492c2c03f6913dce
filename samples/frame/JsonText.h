#pragma once

// JSON in and out of this program: documents that are read whole, and texts for those that are
// written.

#include <string>

#include "ZelREKernel/json/ZelJSONValue.h"

namespace frame {

// The document's value. Throws std::runtime_error with `prefix`, the first error and its place.
ZelJSONValue ParseJson(const std::string& text, const std::string& prefix);

// `text` with a stand-in for every byte that vJSONObject would write as it is and that would not be
// JSON: double quotes become apostrophes, control characters and what is no UTF-8 question marks.
// Good for a line on a terminal as well.
std::string Printable(const std::string& text);

}  // namespace frame
