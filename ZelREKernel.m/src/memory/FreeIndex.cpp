#include "memory/FreeIndex.h"

#include <algorithm>

namespace ZKL {

std::uint64_t FreeIndex::Largest() const {
    if (!unsorted_.empty()) {
        return unsorted_.back().size;
    }
    return count_ != 0 ? Unpack(lists_[Highest()].Last(), Highest()).size : 0;
}

bool FreeIndex::LowerBound(std::uint64_t size, FreePlace& place) const {
    place.sizeClass = ClassOf(size);
    if (lists_[place.sizeClass].LowerBound(Pack({size, 0, 0}, place.sizeClass), place.at)) {
        return true;
    }
    place.sizeClass = NextUsed(place.sizeClass + 1);
    return place.sizeClass < kClasses && lists_[place.sizeClass].LowerBound({0, 0, 0}, place.at);
}

bool FreeIndex::Find(const FreeBlock& block, FreePlace& place) const {
    place.sizeClass = ClassOf(block.size);
    return lists_[place.sizeClass].Find(Pack(block, place.sizeClass), place.at);
}

void FreeIndex::Insert(const FreeBlock& block, ChunkPool& pool) {
    const std::uint32_t sizeClass = ClassOf(block.size);
    lists_[sizeClass].Insert(Pack(block, sizeClass), pool);
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
        !lists_[place.sizeClass].Replace(place.at, Pack(block, place.sizeClass))) {
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
    unsorted_.clear();
}

bool FreeIndex::Load(const std::vector<FreeBlock>& blocks, ChunkPool& pool) {
    count_ = blocks.size();
    if (!std::is_sorted(blocks.begin(), blocks.end())) {
        unsorted_ = blocks;
        return true;
    }
    std::vector<Entry> entries;
    for (auto from = blocks.begin(); from != blocks.end();) {
        const std::uint32_t sizeClass = ClassOf(from->size);
        entries.clear();
        for (; from != blocks.end() && ClassOf(from->size) == sizeClass; ++from) {
            entries.push_back(Pack(*from, sizeClass));
        }
        if (!pool.Reserve(List::NodesFor(entries.size()))) {
            return false;
        }
        lists_[sizeClass].Build(entries.begin(), entries.size(), pool);
        Mark(sizeClass);
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
