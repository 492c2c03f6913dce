#pragma once

// Text between double quotes, escaped: double quote, backslash, backspace, form feed, line feed,
// carriage return and tab get a backslash; other bytes from 1 to 31 are dropped; all others stand
// as they are. A text ends at its first zero byte, if there is one.

#include <cstddef>

namespace ZelJSON {

// The most that PutEscaped needs for `length` bytes.
constexpr std::size_t EscapedRoom(std::size_t length) noexcept {
    return 2 * length + 16;
}

// Whether a text can be written as it is.
bool NeedsNoEscape(const char* text, std::size_t length) noexcept;

// Writes the text without the quotes and returns its end.
char* PutEscaped(char* out, const char* text, std::size_t length) noexcept;

}  // namespace ZelJSON
