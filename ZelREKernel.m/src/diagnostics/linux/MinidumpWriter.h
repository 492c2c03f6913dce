#pragma once

// Writes a dump of this process, with all of its memory, that debuggers read.

#include "diagnostics/linux/Fault.h"
#include "diagnostics/linux/StoppedThreads.h"

namespace ZKL {

// Writes the dump of the process that made this helper process and that `threads` belong to. Memory
// marked MADV_DONTDUMP is left out. `fault` may be null; else it hit the first of the threads.
// False when the file could not be made or not be written whole; what was written stays.
bool WriteMinidump(const char* path, const Fault* fault, const StoppedThreads& threads);

}  // namespace ZKL
