#pragma once

// The quick way through a document that keeps to the grammar of JSON (with the words Infinity and
// NaN). At the first doubt it gives up, without a trace, and ZelJSONReader goes through the
// document token by token; so it need not know what the reader forgives, nor how it words its
// errors.

#include <string>

#include "ZelREKernel/json/ZelJSONSlot.h"

namespace ZelJSON {

// The deepest nesting of arrays and objects in a document that is read.
constexpr std::uint32_t kDeepestNesting = 10000;

// Reads the value at the start of `document` into `root`, which owns nothing; what follows the
// value is not looked at. False when the document needs the reader's own eyes; `root` is then null.
// Throws std::bad_alloc.
bool ParseStrictly(const std::string& document, ZelJSONSlot& root);

}  // namespace ZelJSON
