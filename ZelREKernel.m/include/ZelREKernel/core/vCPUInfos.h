#pragma once

// The survey of the processor: which instructions it has, how many cores and nodes there are. The
// task system sizes itself by it, vectorised code chooses its path by it.
//
// The survey is made once, by the first call; later calls answer from its record. All functions may
// be called from any thread.
//
// Counted are the processors that are online, on Linux only those that the process may run on when
// the survey is made (by the main thread's affinity mask, so that a worker bound to one processor
// does not shrink the survey), and the cores and NUMA nodes that hold at least one of them. A limit
// on processor time, such as a container's quota, is no number of processors and is not looked at.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

struct vCPUInfos {
    // Bits of `features`, what the processor itself reports (CPUID leaves 1 and 7):
    static constexpr std::uint32_t kSSE = 1;
    static constexpr std::uint32_t kSSE2 = 2;
    static constexpr std::uint32_t kSSE3 = 4;
    static constexpr std::uint32_t kSSE41 = 8;
    static constexpr std::uint32_t kSSE42 = 16;
    static constexpr std::uint32_t kAVX = 32;
    static constexpr std::uint32_t kAVX2 = 64;
    static constexpr std::uint32_t kAVX512CD = 128;
    static constexpr std::uint32_t kAVX512ER = 256;
    static constexpr std::uint32_t kAVX512F = 512;
    static constexpr std::uint32_t kAVX512PF = 1024;

    std::uint32_t features = 0;           // a sum of the bits above
    std::uint32_t numaNodes = 0;          // memory nodes
    std::uint32_t cores = 0;              // physical cores
    std::uint32_t logicalProcessors = 0;  // hardware threads
};

static_assert(sizeof(vCPUInfos) == 16);

// Copies the record to `out`. The call that makes the survey also logs what vector instructions
// there are, on the abend-trace channel. When the system does not tell about its processors, `out`
// is all zero and the next call tries again.
ZELREKERNEL_EXPORT void GetCPUInfos(vCPUInfos& out);

// The record itself, or one that is all zero when the survey cannot be made. It never changes and
// stays valid while the library is loaded.
ZELREKERNEL_EXPORT const vCPUInfos& GetCPUInfos();

// SSE4.1, AVX and AVX2 by the record's feature bits, false without a record:
ZELREKERNEL_EXPORT bool IsSSE4Supported();
ZELREKERNEL_EXPORT bool IsAVXSupported();
ZELREKERNEL_EXPORT bool IsAVX2Supported();

}  // namespace ZKL
