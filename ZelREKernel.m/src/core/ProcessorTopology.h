#pragma once

// How many processors this process may run on, asked of the operating system.

#include <cstdint>

namespace ZKL {

struct ProcessorTopology {
    std::uint32_t nodes = 0;       // NUMA nodes
    std::uint32_t cores = 0;       // physical cores
    std::uint32_t processors = 0;  // logical processors
};

// Asks anew at every call. Returns false, leaving `out` as it was, when the system does not tell.
bool QueryProcessorTopology(ProcessorTopology& out) noexcept;

}  // namespace ZKL
