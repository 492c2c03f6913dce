#include "ZelREKernel/profiling/vCryptoTools.h"

#include <bit>
#include <cstring>

#include "ZelREKernel/profiling/vZeloProfilerUtil.h"

namespace ZKL {

static_assert(std::endian::native == std::endian::little);

void vCryptoTools::CypherXOR(char* buffer, std::uint64_t length, std::uint32_t key) noexcept {
    for (char* const end = buffer + length / 4 * 4; buffer != end; buffer += 4) {
        std::uint32_t word;
        std::memcpy(&word, buffer, 4);
        word ^= key;
        std::memcpy(buffer, &word, 4);
    }
}

void vZeloProfilerUtil::Encrypt(char* buffer, std::uint64_t length) noexcept {
    vCryptoTools::CypherXOR(buffer, length, kKey);
}

}  // namespace ZKL
