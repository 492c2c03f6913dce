#pragma once

// The free blocks of all pages, sorted by (size, page, offset). It is stored as one list for each
// class of sizes, sixteen classes to each power of two, so that the way to a size is a shift and a
// short list. One thread at a time.
//
// Many blocks have equal sizes: what is left over after a best fit is a few bytes. So an entry does
// not hold its size but a rank: what the class leaves open of the size, followed by as much of page
// and offset as there is room for. A search that compares nothing but ranks ends at the entry.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <tuple>
#include <vector>

#include "memory/SortedChunks.h"

namespace ZKL {

struct FreeBlock {
    std::uint64_t size;
    std::uint64_t offset;
    std::uint64_t page;

    friend bool operator==(const FreeBlock&, const FreeBlock&) = default;
    friend bool operator<(const FreeBlock& a, const FreeBlock& b) {
        return std::tie(a.size, a.page, a.offset) < std::tie(b.size, b.page, b.offset);
    }
};

struct FreePlace;

class FreeIndex {
public:
    struct Entry {
        std::uint64_t rank;
        std::uint64_t page;
        std::uint64_t offset;

        friend bool operator<(const Entry& a, const Entry& b) {
            return std::tie(a.rank, a.page, a.offset) < std::tie(b.rank, b.page, b.offset);
        }
    };
    struct ByRank {
        using Entry = FreeIndex::Entry;
        using Key = Entry;
        static const Key& KeyOf(const Entry& entry) { return entry; }
        static bool Less(const Key& a, const Key& b) { return a < b; }
        static std::uint64_t Rank(const Entry& entry) { return entry.rank; }
    };
    using List = SortedChunks<ByRank>;

    std::uint64_t Count() const { return count_; }
    // The largest size, 0 without an entry.
    std::uint64_t Largest() const;
    // The page of the last entry of an index that has one.
    std::uint64_t LastPage() const { return lists_[Highest()].Last().page; }

    // The first entry of at least `size`; false without one.
    bool LowerBound(std::uint64_t size, FreePlace& place) const;
    bool Find(const FreeBlock& block, FreePlace& place) const;
    static FreeBlock At(const FreePlace& place);

    // How many pieces of the pool an insertion of that size takes at most.
    std::size_t NodesToInsert(std::uint64_t size) const {
        return lists_[ClassOf(size)].Levels() + 1;
    }
    void Insert(const FreeBlock& block, ChunkPool& pool);
    void Erase(FreePlace& place, ChunkPool& pool);
    // Gives an entry another value and its place in the order.
    void Replace(FreePlace& place, const FreeBlock& block, ChunkPool& pool);
    void Clear(ChunkPool& pool);

    // Fills an empty index. Blocks out of order are kept as they stand; nothing but ForEach, Count
    // and Largest makes sense then. False, or std::bad_alloc, without memory.
    bool Load(const std::vector<FreeBlock>& blocks, ChunkPool& pool);

    template <class Action>
    void ForEach(const Action& action) const {
        for (std::uint32_t i = NextUsed(0); i < kClasses; i = NextUsed(i + 1)) {
            for (const Entry& entry : lists_[i]) {
                action(Unpack(entry, i));
            }
        }
        for (const FreeBlock& block : unsorted_) {
            action(block);
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
    // How many low bits of the size a class leaves open.
    static std::uint32_t OpenBits(std::uint32_t sizeClass) {
        return std::max(sizeClass / kSteps, 1U) - 1;
    }
    static Entry Pack(const FreeBlock& block, std::uint32_t sizeClass);
    static FreeBlock Unpack(const Entry& entry, std::uint32_t sizeClass);
    // The first class from `from` on that has an entry, kClasses without one.
    std::uint32_t NextUsed(std::uint32_t from) const;
    std::uint32_t Highest() const;
    void Mark(std::uint32_t sizeClass);

    std::array<List, kClasses> lists_;
    std::array<std::uint64_t, (kClasses + 63) / 64>
        used_{};  // a bit for each list that has entries
    std::uint64_t count_ = 0;
    std::vector<FreeBlock> unsorted_;
};

// Where an entry of the free index is.
struct FreePlace {
    std::uint32_t sizeClass = 0;
    FreeIndex::List::Place at;
};

inline FreeIndex::Entry FreeIndex::Pack(const FreeBlock& block, std::uint32_t sizeClass) {
    const std::uint32_t room = 64 - OpenBits(sizeClass);  // for page and offset, at least 5
    const std::uint32_t pageBits = std::min(room, 20U);
    const std::uint32_t offsetBits = room - pageBits;
    // What does not fit comes last; the other fields decide there.
    const std::uint64_t most = (std::uint64_t{1} << offsetBits) - 1;
    const std::uint64_t last = ~std::uint64_t{0} >> (64 - room);
    const std::uint64_t place = block.page >> pageBits != 0
                                    ? last
                                    : block.page << offsetBits | std::min(block.offset, most);
    const std::uint64_t size = block.size << (room - 1) << 1;  // 64 bits are one too many at once
    return {size | place, block.page, block.offset};
}

inline FreeBlock FreeIndex::Unpack(const Entry& entry, std::uint32_t sizeClass) {
    const std::uint32_t open = OpenBits(sizeClass);
    const std::uint64_t first = sizeClass < kSteps ? sizeClass : kSteps + sizeClass % kSteps;
    return {first << open | (entry.rank >> (63 - open) >> 1), entry.offset, entry.page};
}

inline FreeBlock FreeIndex::At(const FreePlace& place) {
    return Unpack(*place.at, place.sizeClass);
}

}  // namespace ZKL
