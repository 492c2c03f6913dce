#pragma once

// Text on its way to the system and back: UTF-8 on our side, UTF-16 on the system's.

#include <string>
#include <string_view>

namespace mek {

// What is no valid UTF-8 (or UTF-16) becomes U+FFFD.
std::wstring ToWide(std::string_view text);
std::string ToUtf8(std::wstring_view text);

}  // namespace mek
