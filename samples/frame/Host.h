#pragma once

// What differs between operating systems for this program.

#include <cstdint>

namespace frame {

// Whether standard error goes to a terminal.
bool IsErrorStreamTerminal();
// The most memory that the process ever held, in bytes; 0 when the system does not tell.
std::uint64_t PeakResidentBytes();

}  // namespace frame
