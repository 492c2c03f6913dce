#pragma once

// Starts another program.

#include <cstdint>

#include "MekHost/MekHostExport.h"

// Starts the program `path` with `arguments`, a null-terminated array whose first entry is by
// custom the program itself, then waits for its end if `wait` is set. A path without a directory is
// looked up as the shell would. The child inherits the standard streams and no other descriptor.
//
// `result` receives the exit code when waiting (128 plus the signal number for a child that a
// signal ended), else 0. `error` receives 0, or a number of the C run-time's error list: 2 (no such
// program), 7 (arguments too long), 8 (not an executable), 12 (no memory), 22 (a null path or
// argument array), or what else the system said. A program that is not permitted to be executed is
// reported as 8. Returns kMekOk when the program was started, else kMekInvalidParameter or
// kMekFailed. A child that is not waited for is no child of this process and leaves no zombie
// behind. The exit code arrives even when the host ignores the end of its children or handles it;
// signals for the waiting thread are then held back until the child has ended. Safe from any
// thread.
MEKHOST_EXPORT std::int32_t MekStartProcess(const char* path, const char* const* arguments,
                                            bool wait, int& result, int& error);
