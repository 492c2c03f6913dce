#pragma once

#include <string>

#include "diagnostics/windows/Fault.h"

namespace ZKL {

// The stack from the frame of the fault outwards, one line a frame: number, address, function,
// source file and line, or module and offset where symbols are missing, and "(N times)" where it
// repeats.
std::string DescribeCallStack(const Fault& fault);

}  // namespace ZKL
