#pragma once

// The text beside a crash dump: what a person reads first.

#include "diagnostics/linux/CallStack.h"
#include "diagnostics/linux/DumpPath.h"
#include "diagnostics/linux/StoppedThreads.h"

namespace ZKL {

// Writes it to `dump` with ".txt" for the last four characters: the fault and its stack if there is
// one, the threads and their names, the sections of the crash report, the last lines of every log
// channel. Nothing happens when the file cannot be made. Safe in a signal handler.
void WriteCrashReport(const DumpPath& dump, const Fault* fault, const CallStack& stack,
                      const StoppedThreads& threads);

}  // namespace ZKL
