#pragma once

// Where results go; one source for each system.

#include <string>
#include <string_view>

namespace trace {

// Standard output takes bytes as they are from then on.
void PrepareOutput();

// Writes all of it to the file, or to standard output for an empty name. False with one line
// without a line feed in `error`.
bool WriteOutput(const std::string& path, std::string_view bytes, std::string& error);

}  // namespace trace
