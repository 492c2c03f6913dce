#pragma once

// Writes a dump of this process, with all of its memory, that debuggers read.

#include <signal.h>
#include <ucontext.h>

namespace ZKL {

// What a dump is asked for.
struct DumpRequest {
    const char* path;
    // Of the fatal signal, with the registers of the thread that it hit; both null where there was
    // none.
    const siginfo_t* signal;
    const ucontext_t* context;
};

// Writes the dump while every other thread of the process stands still. A helper process does it,
// which shares this one's memory and nothing of its heap, so a broken heap or a held lock is no
// obstacle. Memory marked MADV_DONTDUMP is left out. False when the file could not be made or not
// be written whole; what was written stays. Safe in a signal handler.
bool WriteMinidump(const DumpRequest& request);

}  // namespace ZKL
