#pragma once

// The operating system's processes, as far as MekStartProcess needs them.

namespace mek {

// Starts a program and waits for its end if asked to; the parameters and the numbers are those of
// MekStartProcess. Returns the error number, 0 when the program was started; std::bad_alloc when
// it was not.
int RunProgram(const char* path, const char* const* arguments, bool wait, int* exitCode);

}  // namespace mek
