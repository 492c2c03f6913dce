#pragma once

// Texts of programs, on their way to a person.

#include <cstddef>
#include <string>
#include <string_view>

namespace tools {

// How many bytes the character at the beginning of `text`, which is not empty, takes in UTF-8 (RFC
// 3629); 0 when there is none.
std::size_t CharacterLength(std::string_view text);

// Without what would steer a terminal: control characters, the tab too, and bytes that are no UTF-8
// become question marks, one each.
std::string Printable(std::string_view text);

}  // namespace tools
