#pragma once

// Scrambling of trace files: enough to keep a trace from being read at a glance, no more.
//
// The functions touch only what they are given and are safe from any thread.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vCryptoTools {
public:
    // Replaces each whole little-endian 32-bit word of the first `length` bytes by itself XOR
    // `key`; up to three trailing bytes stay as they are. Applied twice it restores the text.
    // `buffer` needs no alignment. O(length).
    static void CypherXOR(char* buffer, std::uint64_t length, std::uint32_t key) noexcept;
};

}  // namespace ZKL
