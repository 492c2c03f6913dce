#pragma once

// The one text that Windows hands a program for all its arguments.

#include <string>

namespace mek {

// Puts arguments (null-terminated, the program first) into one line that CommandLineToArgvW and the
// C run-time take apart into the same arguments again. A quotation mark in the program's own name,
// which no file name holds, is left out.
std::wstring CommandLine(const char* const* arguments);

}  // namespace mek
