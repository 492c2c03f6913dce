#pragma once

// The text beside a crash dump: what a person reads first.

#include <string>

#include "diagnostics/windows/Fault.h"

namespace ZKL {

// Writes it to `dump` with ".txt" for the last four characters: the fault and its stack if there is
// one, the threads and their names, the sections of the crash report, the last lines of every log
// channel. Nothing happens when the file cannot be made.
void WriteCrashReport(const std::wstring& dump, const Fault* fault);

}  // namespace ZKL
