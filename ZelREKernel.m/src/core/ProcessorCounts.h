#pragma once

// What the survey counts: see vCPUInfos.

#include <cstdint>

namespace ZKL {

struct ProcessorCounts {
    std::uint32_t nodes = 0;       // NUMA nodes
    std::uint32_t cores = 0;       // physical cores
    std::uint32_t processors = 0;  // logical processors
};

}  // namespace ZKL
