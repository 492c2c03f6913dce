#pragma once

// Where crash dumps go.

#include "diagnostics/linux/RawText.h"

namespace ZKL {

using DumpPath = RawText<4096>;

// The C library tells the local time by locks and files, which a signal handler must not touch:
// this remembers how far it is from universal time.
void RememberLocalTime();

// The path of a dump written now. Safe in a signal handler.
DumpPath MakeDumpPath();

}  // namespace ZKL
