#pragma once

// The blocks that an allocator under test has handed out, each filled with a pattern of its own.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace test {

// A fixed seed and one that no run had before.
inline std::vector<std::uint32_t> Seeds() {
    return {20260101, std::random_device()()};
}

class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}
    // Below `bound`.
    std::uint32_t operator()(std::uint32_t bound) {
        return static_cast<std::uint32_t>(engine_() % bound);
    }

private:
    std::mt19937 engine_;
};

class LiveBlocks {
public:
    void Add(void* p, std::uint32_t size) {
        blocks_.push_back({static_cast<unsigned char*>(p), size, ++pattern_});
        std::memset(p, pattern_, size);
    }
    std::size_t Count() const { return blocks_.size(); }
    // Keeps the oldest `count`.
    void Cut(std::size_t count) { blocks_.resize(count); }
    // Whether every block still holds its pattern.
    bool AreIntact() const {
        return std::all_of(blocks_.begin(), blocks_.end(), [](const Block& block) {
            return std::all_of(block.p, block.p + block.size,
                               [&](unsigned char byte) { return byte == block.pattern; });
        });
    }

private:
    struct Block {
        unsigned char* p = nullptr;
        std::uint32_t size = 0;
        unsigned char pattern = 0;
    };
    std::vector<Block> blocks_;
    unsigned char pattern_ = 0;
};

// Rounds up with divisions, unlike the code under test.
inline std::uintptr_t RoundUp(std::uintptr_t address, std::uint32_t alignment) {
    return (address + alignment - 1) / alignment * alignment;
}

}  // namespace test
