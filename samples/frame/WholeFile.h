#pragma once

// Files that are read as a whole.

#include <string>

namespace frame {

// The bytes of the file at `path`. Throws std::runtime_error with the reason, without the path,
// when it cannot be read as a whole or is larger than 512 MiB.
std::string ReadWholeFile(const std::string& path);

}  // namespace frame
