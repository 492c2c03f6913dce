#pragma once

// JSON to the letter (RFC 8259). The library's reader forgives what viewers do not: a wrong
// separator, a comment, text behind the end.

#include <cstddef>
#include <string_view>

namespace trace {

// Where the text stops being JSON, npos when it is. UTF-8 is not looked at. O(length), no
// recursion.
std::size_t FindSyntaxError(std::string_view text);

}  // namespace trace
