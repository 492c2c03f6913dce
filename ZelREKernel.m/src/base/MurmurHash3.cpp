#include "ZelREKernel/base/MurmurHash3.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "blocks are read little-endian");

template <class Word>
Word ReadBlock(const unsigned char* p) noexcept {
    Word word;
    std::memcpy(&word, p, sizeof(word));
    return word;
}

// The last `count` bytes, fewer than a word, little-endian above zeros.
template <class Word>
Word ReadTail(const unsigned char* p, std::size_t count) noexcept {
    Word word = 0;
    for (std::size_t i = 0; i < count; ++i) {
        word |= static_cast<Word>(p[i]) << (8 * i);
    }
    return word;
}

std::uint32_t Scramble32(std::uint32_t k) noexcept {
    return std::rotl(k * 0xcc9e2d51U, 15) * 0x1b873593U;
}

std::uint32_t Finish32(std::uint32_t h) noexcept {
    h = (h ^ (h >> 16)) * 0x85ebca6bU;
    h = (h ^ (h >> 13)) * 0xc2b2ae35U;
    return h ^ (h >> 16);
}

constexpr std::uint64_t kMultiplier64 = 0xc6a4a7935bd1e995U;
constexpr int kShift64 = 47;

std::uint64_t Scramble64(std::uint64_t k) noexcept {
    k *= kMultiplier64;
    return (k ^ (k >> kShift64)) * kMultiplier64;
}

}  // namespace

std::uint32_t MurmurHash3_x86_32(const void* data, std::uint32_t length,
                                 std::uint32_t seed) noexcept {
    const auto* p = static_cast<const unsigned char*>(data);
    std::uint32_t h = seed;
    for (std::uint32_t blocks = length / 4; blocks > 0; --blocks, p += 4) {
        h ^= Scramble32(ReadBlock<std::uint32_t>(p));
        h = std::rotl(h, 13) * 5 + 0xe6546b64U;
    }
    h ^= Scramble32(ReadTail<std::uint32_t>(p, length % 4));  // scrambles no bytes to 0
    return Finish32(h ^ length);
}

std::uint64_t MurmurHash3_x86_64(const void* data, std::uint32_t length,
                                 std::uint32_t seed) noexcept {
    const auto* p = static_cast<const unsigned char*>(data);
    std::uint64_t h = seed ^ (length * kMultiplier64);
    for (std::uint32_t blocks = length / 8; blocks > 0; --blocks, p += 8) {
        h = (h ^ Scramble64(ReadBlock<std::uint64_t>(p))) * kMultiplier64;
    }
    if (const std::uint32_t tail = length % 8) {
        h = (h ^ ReadTail<std::uint64_t>(p, tail)) * kMultiplier64;
    }
    h = (h ^ (h >> kShift64)) * kMultiplier64;
    return h ^ (h >> kShift64);
}
