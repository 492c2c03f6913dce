#pragma once

// What differs between operating systems for this program.

#include <cstdint>
#include <string>

namespace frame {

// Whether standard error goes to a terminal.
bool IsErrorStreamTerminal();
// The most memory that the process ever held, in bytes; 0 when the system does not tell.
std::uint64_t PeakResidentBytes();
// This program's own file.
std::string ProgramPath();
// Where a process started from now on leaves its crash dump. Where that can be chosen and nobody
// has, it is `wanted`.
std::string CrashDumpFolder(const std::string& wanted);
// How a process ended, by the exit code that starting it gave.
std::string DescribeEnd(int exitCode);

}  // namespace frame
