#pragma once

// How many processors this process may run on, asked of the operating system.

#include "core/ProcessorCounts.h"

namespace ZKL {

// Asks anew at every call. Returns false, leaving `out` as it was, when the system does not tell.
bool QueryProcessorTopology(ProcessorCounts& out) noexcept;

}  // namespace ZKL
