#pragma once

// Starts another program.

#include <cstdint>

#include "MekHost/MekHostExport.h"

// Starts the program `path` with `arguments`, a null-terminated array whose first entry is by
// custom the program itself, then waits for its end if `wait` is set. The child inherits the
// standard streams and no other descriptor or handle. Safe from any thread.
//
// A path without a directory is looked up as the shell would on Linux, and where the system looks
// for programs on Windows: the folder of the calling program, the working directory, the system's
// folders, "PATH" (SearchPathW). A name that comes without its ".exe" is found there as well, with
// a directory or without. Texts are UTF-8. On Windows the arguments become one command line, quoted
// so that the child's C run-time reads them back as they are. A batch file (".bat", ".cmd") has no
// such run-time: the command interpreter reads the line by rules of its own, "%", "&" and "^"
// included, so that an argument from outside can become a command there. Do not hand it any.
//
// `result` receives the exit code when waiting, else 0: on Linux 0 to 255, or 128 plus the signal
// number for a child that a signal ended; on Windows the 32 bits that the child ended with, so that
// one ended by an exception gives a negative number, its code.
//
// `error` receives 0, or a number of the C run-time's error list: 2 (no such program), 7 (arguments
// too long; on Windows 32,767 characters in all), 8 (not an executable, or not permitted to be
// executed), 12 (no memory, no process or thread to be had), 22 (a null path or argument array), or
// what else the system said (5 on Windows). Returns kMekOk when the program was started, else
// kMekInvalidParameter or kMekFailed.
//
// A child that is not waited for leaves nothing behind at its end, but for a host on Linux that
// orphans are given to (process 1, or one that has made itself a subreaper): there it becomes a
// child of the host, which has to be waited for as other orphans have. The exit code of a child
// that is waited for arrives on Linux whatever the host does about its children: ignores their end,
// handles it, or waits for any.
MEKHOST_EXPORT std::int32_t MekStartProcess(const char* path, const char* const* arguments,
                                            bool wait, int& result, int& error);
