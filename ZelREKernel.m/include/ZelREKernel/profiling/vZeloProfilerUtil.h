#pragma once

// Scrambles and unscrambles trace text with the key that scrambled trace files are written with, so
// that a tool reads such a file by applying Encrypt to the whole of it.
//
// Safe from any thread.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vZeloProfilerUtil {
public:
    static constexpr std::uint32_t kKey = 0x5A17C3E4u;  // of scrambled trace files

    // vCryptoTools::CypherXOR with kKey over the first `length` bytes, in place. O(length).
    static void Encrypt(char* buffer, std::uint64_t length) noexcept;
};

}  // namespace ZKL
