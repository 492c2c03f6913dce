#include "ZelREKernel/base/MurmurHash3.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// SMHasher's verification value: the hash of the hashes of the keys {0}, {0, 1}, {0, 1, 2} and so
// on, each with its own seed.
template <class Hash>
std::uint32_t Verification(Hash hash) {
    std::vector<unsigned char> key;
    std::vector<unsigned char> hashes;
    for (std::uint32_t i = 0; i < 256; ++i) {
        const auto value = hash(key.data(), i, 256 - i);
        const std::size_t at = hashes.size();
        hashes.resize(at + sizeof(value));
        std::memcpy(&hashes[at], &value, sizeof(value));
        key.push_back(static_cast<unsigned char>(i));
    }
    return static_cast<std::uint32_t>(
        hash(hashes.data(), static_cast<std::uint32_t>(hashes.size()), 0));
}

TEST(MurmurHash3, GivesThePublishedVerificationValues) {
    EXPECT_EQ(Verification(MurmurHash3_x86_32), 0xB0F57EE3U);
    EXPECT_EQ(Verification(MurmurHash3_x86_64), 0x1F0D3804U);
    EXPECT_EQ(MurmurHash3_x86_32(nullptr, 0, 0), 0U);
}

// The copies stand at the end of a heap block of their own, so that a sanitizer sees a read beyond.
TEST(MurmurHash3, HashesTheBytesWhereverTheyStand) {
    const std::vector<unsigned char> text = {0xff, 0x80, 'a', 0, 'c', 'd', 0xfe, 'f',
                                             'g',  'h',  'i', 0, 'k', 'l', 0x81, 'n'};
    for (std::uint32_t length = 0; length <= text.size(); ++length) {
        const std::uint32_t hash32 = MurmurHash3_x86_32(text.data(), length, 42);
        const std::uint64_t hash64 = MurmurHash3_x86_64(text.data(), length, 42);
        for (std::size_t shift = 0; shift < 8; ++shift) {
            std::vector<unsigned char> block(shift, 0xaa);
            block.insert(block.end(), text.begin(), text.begin() + length);
            const unsigned char* const at = block.data() + shift;
            EXPECT_EQ(MurmurHash3_x86_32(at, length, 42), hash32) << length << " at " << shift;
            EXPECT_EQ(MurmurHash3_x86_64(at, length, 42), hash64) << length << " at " << shift;
        }
    }
}

}  // namespace
