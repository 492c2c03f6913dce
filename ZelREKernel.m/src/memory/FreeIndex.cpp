#include "memory/FreeIndex.h"

#include <algorithm>

namespace ZKL {

std::uint64_t FreeIndex::Largest() const {
    return count_ != 0 ? lists_[Highest()].Last().size : 0;
}

bool FreeIndex::LowerBound(std::uint64_t size, FreePlace& place) const {
    const FreeBlock low{size, 0, 0};
    place.sizeClass = ClassOf(size);
    if (lists_[place.sizeClass].LowerBound(low, place.at)) {
        return true;
    }
    place.sizeClass = NextUsed(place.sizeClass + 1);
    return place.sizeClass < kClasses && lists_[place.sizeClass].LowerBound(low, place.at);
}

bool FreeIndex::Find(const FreeBlock& block, FreePlace& place) const {
    place.sizeClass = ClassOf(block.size);
    return lists_[place.sizeClass].Find(block, place.at);
}

void FreeIndex::Insert(const FreeBlock& block, ChunkPool& pool) {
    const std::uint32_t sizeClass = ClassOf(block.size);
    lists_[sizeClass].Insert(block, pool);
    Mark(sizeClass);
    ++count_;
}

void FreeIndex::Erase(FreePlace& place, ChunkPool& pool) {
    List& list = lists_[place.sizeClass];
    list.Erase(place.at, 0, 1, pool);
    if (list.Empty()) {
        used_[place.sizeClass / 64] &= ~(std::uint64_t{1} << place.sizeClass % 64);
    }
    --count_;
}

void FreeIndex::Replace(FreePlace& place, const FreeBlock& block, ChunkPool& pool) {
    if (ClassOf(block.size) != place.sizeClass ||
        !lists_[place.sizeClass].Replace(place.at, block)) {
        Erase(place, pool);
        Insert(block, pool);
    }
}

void FreeIndex::Clear(ChunkPool& pool) {
    for (List& list : lists_) {
        list.Clear(pool);
    }
    used_ = {};
    count_ = 0;
}

bool FreeIndex::Load(const std::vector<FreeBlock>& blocks, ChunkPool& pool) {
    const bool sorted = std::is_sorted(blocks.begin(), blocks.end());
    for (auto from = blocks.begin(); from != blocks.end();) {
        const std::uint32_t sizeClass = sorted ? ClassOf(from->size) : 0;
        const auto to = std::find_if(from, blocks.end(), [&](const FreeBlock& block) {
            return sorted && ClassOf(block.size) != sizeClass;
        });
        const auto n = static_cast<std::uint64_t>(to - from);
        if (!pool.Reserve(List::NodesFor(n))) {
            return false;
        }
        lists_[sizeClass].Build(from, n, pool);
        Mark(sizeClass);
        count_ += n;
        from = to;
    }
    return true;
}

std::uint32_t FreeIndex::NextUsed(std::uint32_t from) const {
    std::uint64_t mask = ~std::uint64_t{0} << from % 64;
    for (std::uint32_t word = from / 64; word < used_.size(); ++word) {
        if (const std::uint64_t found = used_[word] & mask) {
            return word * 64 + static_cast<std::uint32_t>(std::countr_zero(found));
        }
        mask = ~std::uint64_t{0};
    }
    return kClasses;
}

std::uint32_t FreeIndex::Highest() const {
    std::uint32_t word = static_cast<std::uint32_t>(used_.size()) - 1;
    while (used_[word] == 0) {
        --word;
    }
    return word * 64 + static_cast<std::uint32_t>(std::bit_width(used_[word])) - 1;
}

void FreeIndex::Mark(std::uint32_t sizeClass) {
    used_[sizeClass / 64] |= std::uint64_t{1} << sizeClass % 64;
}

}  // namespace ZKL
