#pragma once

// Writing to a file descriptor from a signal handler: no lock, no allocation, the error number as
// it was.

#include <string_view>

namespace mek {

// Writes all of `text`; false when the descriptor does not take it.
bool RawWrite(int descriptor, std::string_view text);

}  // namespace mek
