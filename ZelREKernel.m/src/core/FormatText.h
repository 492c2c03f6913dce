#pragma once

#include <cstdarg>
#include <cstddef>

#include "ZelREKernel/base/vPrintfFormat.h"

namespace ZKL {

// std::vsnprintf, but faster for what most messages are made of: %d, %i, %u, %x (also with l, ll or
// z), %s, %c and %% without flags, width or precision. Everything else is left to vsnprintf. A text
// shorter than `capacity` need not be followed by a terminator.
int FormatText(char* text, std::size_t capacity, const char* format, std::va_list arguments)
    ZKL_PRINTF_FORMAT(3, 0);

}  // namespace ZKL
