#pragma once

// Whole trees: giving them back and copying them. Neither uses the stack for depth.

#include "ZelREKernel/json/ZelJSONSlot.h"

namespace ZelJSON {

// Gives back all that the slot owns. An array or object is empty afterwards, a string's text null.
void ReleaseContents(ZelJSONSlot& slot) noexcept;

// Makes `to`, which owns nothing, a deep copy. Throws std::bad_alloc and leaves it null.
void CopyTree(const ZelJSONSlot& from, ZelJSONSlot& to);

}  // namespace ZelJSON
