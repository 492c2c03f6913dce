#pragma once

// The free blocks of all pages, sorted by (size, page, offset). It is stored as one list for each
// class of sizes, sixteen classes to each power of two, so that the way to a size is a shift and a
// short list. One thread at a time.

#include <immintrin.h>

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

#include "memory/SortedChunks.h"

namespace ZKL {

struct FreeBlock {
    std::uint64_t size;
    std::uint64_t offset;
    std::uint64_t page;

    friend bool operator==(const FreeBlock&, const FreeBlock&) = default;
    // The borrow of a subtraction of the three as one long number: no branch, which a search would
    // guess wrong half of the time.
    friend bool operator<(const FreeBlock& a, const FreeBlock& b) {
        unsigned long long offset;
        unsigned long long page;
        unsigned long long size;
        unsigned char borrow = _subborrow_u64(0, a.offset, b.offset, &offset);
        borrow = _subborrow_u64(borrow, a.page, b.page, &page);
        return _subborrow_u64(borrow, a.size, b.size, &size) != 0;
    }
};

struct FreePlace;

class FreeIndex {
public:
    struct BySize {
        using Entry = FreeBlock;
        using Key = FreeBlock;
        static const Key& KeyOf(const FreeBlock& block) { return block; }
        static bool Less(const Key& a, const Key& b) { return a < b; }
        static std::uint64_t Rank(const FreeBlock& block) { return block.size; }
    };
    using List = SortedChunks<BySize>;

    std::uint64_t Count() const { return count_; }
    // The largest size, 0 without an entry.
    std::uint64_t Largest() const;
    // The page of the last entry of an index that has one.
    std::uint64_t LastPage() const { return lists_[Highest()].Last().page; }

    // The first entry of at least `size`; false without one.
    bool LowerBound(std::uint64_t size, FreePlace& place) const;
    bool Find(const FreeBlock& block, FreePlace& place) const;

    // How many pieces of the pool an insertion of that size takes at most.
    std::size_t NodesToInsert(std::uint64_t size) const {
        return lists_[ClassOf(size)].Levels() + 1;
    }
    void Insert(const FreeBlock& block, ChunkPool& pool);
    void Erase(FreePlace& place, ChunkPool& pool);
    // Gives an entry another value and its place in the order.
    void Replace(FreePlace& place, const FreeBlock& block, ChunkPool& pool);
    void Clear(ChunkPool& pool);

    // Fills an empty index. Entries out of order are kept as they stand, in one list; nothing but
    // ForEach, Count and Largest makes sense then. False without memory.
    bool Load(const std::vector<FreeBlock>& blocks, ChunkPool& pool);

    template <class Action>
    void ForEach(const Action& action) const {
        for (const List& list : lists_) {
            for (const FreeBlock& block : list) {
                action(block);
            }
        }
    }

private:
    static constexpr std::uint32_t kSteps = 16;
    static constexpr std::uint32_t kClasses = 61 * kSteps;

    static std::uint32_t ClassOf(std::uint64_t size) {
        constexpr std::uint32_t kShift = std::bit_width(kSteps) - 1;
        if (size < kSteps) {
            return static_cast<std::uint32_t>(size);
        }
        const auto exponent = static_cast<std::uint32_t>(std::bit_width(size)) - 1;
        const auto step = static_cast<std::uint32_t>(size >> (exponent - kShift)) % kSteps;
        return (exponent - kShift + 1) * kSteps + step;
    }
    // The first class from `from` on that has an entry, kClasses without one.
    std::uint32_t NextUsed(std::uint32_t from) const;
    std::uint32_t Highest() const;
    void Mark(std::uint32_t sizeClass);

    std::array<List, kClasses> lists_;
    std::array<std::uint64_t, (kClasses + 63) / 64>
        used_{};  // a bit for each list that has entries
    std::uint64_t count_ = 0;
};

// Where an entry of the free index is.
struct FreePlace {
    std::uint32_t sizeClass = 0;
    FreeIndex::List::Place at;

    FreeBlock& operator*() const { return *at; }
};

}  // namespace ZKL
