#pragma once

// A client whose pages are real bytes, with a line of log for every call that it gets.

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ZelREKernel/memory/vBestFitAllocator.h"

using Address = ZKL::vBestFitAllocator::Address;
using Block = ZKL::vBestFitAllocator::Block;

// What the client refuses.
struct Refusals {
    bool page = false;
    bool release = false;
    bool defragment = false;
};

template <class... Numbers>
std::string Line(char call, Numbers... numbers) {
    std::string line(1, call);
    ((line += ' ', line += std::to_string(numbers)), ...);
    return line + "\n";
}

class Device final : public ZKL::vBestFitAllocator::vMemoryManager {
public:
    bool AllocateLargePage(const Address& address, std::uint64_t size,
                           std::uint64_t userData) override {
        EXPECT_EQ(address.offset, 0U);
        log += Line('L', address.page, size, userData);
        pages[address.page].assign(size, 0);
        return false;
    }
    bool AllocatePage(std::uint64_t page, std::uint64_t size) override {
        log += Line('A', page, size);
        if (!refuse.page) {
            pages[page].assign(size, 0);
        }
        return !refuse.page;
    }
    bool ReleasePage(std::uint64_t page, std::uint64_t size) override {
        log += Line('R', page, size);
        EXPECT_EQ(pages[page].size(), size);
        if (!refuse.release) {
            pages.erase(page);
        }
        return !refuse.release;
    }
    bool BeginDefragment(std::uint64_t freeBlockCount) override {
        log += Line('B', freeBlockCount);
        return !refuse.defragment;
    }
    void MoveBlocks(const Address& to, const Address& from, std::uint64_t size, const Block* blocks,
                    std::uint32_t count) override {
        log += Line('M', to.page, to.offset, from.page, from.offset, size, count);
        ASSERT_LE(to.offset + size, pages[to.page].size());
        std::memmove(&pages[to.page][to.offset], &pages[from.page][from.offset], size);
        for (std::uint32_t i = 0; i < count; ++i) {
            Allocation& moved = live[blocks[i].userData];
            EXPECT_EQ(moved.at, (Address{blocks[i].offset, from.page}));
            moved.at = {to.offset + (blocks[i].offset - from.offset), to.page};
        }
    }
    void EndDefragment() override { log += Line('E'); }

    // Allocations by their tags, each filled with a pattern of its own.
    struct Allocation {
        Address at;
        std::uint64_t size;
    };
    void Fill(std::uint64_t tag, const Allocation& allocation) {
        live[tag] = allocation;
        std::memset(Bytes(allocation), static_cast<int>(tag * 37 % 251), allocation.size);
    }
    void CheckPatterns() {
        for (const auto& [tag, allocation] : live) {
            const std::string pattern(allocation.size, static_cast<char>(tag * 37 % 251));
            ASSERT_EQ(std::memcmp(Bytes(allocation), pattern.data(), allocation.size), 0) << tag;
        }
    }

    Refusals refuse;
    std::string log;
    std::map<std::uint64_t, Allocation> live;
    std::map<std::uint64_t, std::vector<unsigned char>> pages;

private:
    unsigned char* Bytes(const Allocation& allocation) {
        return &pages.at(allocation.at.page).at(allocation.at.offset);
    }
};
