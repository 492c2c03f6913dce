#pragma once

// The two halves of crash handling: what is the same everywhere, and what each system does its own
// way.

#include <cstdint>
#include <string_view>

namespace ZKL {

// What the system tells of a fault; each system has its own kind.
struct Fault;

// Common. Performs the reactions set for `code`, in their order; false when there are none. Runs
// where the process is crashing.
bool ReactToException(std::uint32_t code, const Fault& fault);

// The system's. Makes the system call ReactToException for faults; called once.
void InstallExceptionFilter();
// Writes to standard error at once.
void WriteToStandardError(std::string_view text);
// Writes the stack of the thread that `fault` hit to standard error.
void LogCallStack(const Fault& fault);
// AttachDebugger(). Where the process is `crashing`, neither locks nor the heap are to be had.
void StartAndAwaitDebugger(bool crashing);
// Writes the dump and the text beside it; `fault` may be null.
void WriteCrashDump(const Fault* fault);

}  // namespace ZKL
