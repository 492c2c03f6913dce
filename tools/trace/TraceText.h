#pragma once

// The text of a trace file.

#include <string>

namespace trace {

enum class TextKind { Plain, Scrambled, Neither };

// Reads the whole file. False with one line without a line feed in `error`.
bool ReadFile(const std::string& path, std::string& bytes, std::string& error);

// Makes plain text of a scrambled trace, in place, and tells what it was. A trace is told by its
// first character that is no blank: an opening brace or bracket. What is neither stays as it is.
TextKind Unscramble(std::string& bytes);

}  // namespace trace
