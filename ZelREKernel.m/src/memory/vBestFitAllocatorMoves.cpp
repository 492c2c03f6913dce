// The half of vBestFitAllocator that moves blocks: compaction within pages, evacuation of pages.

#include <algorithm>
#include <new>

#include "memory/vBestFitAllocator.h"

namespace ZKL {

void vBestFitAllocator::Defragment() {
    if (memoryManager_ == nullptr || contradictory_) {
        return;
    }
    // All that may be refused comes first: what has moved cannot be taken back.
    std::vector<Block> entries;
    std::uint64_t longest = 0;
    for (const Page& page : pages_) {
        longest = std::max(longest, page.blocks.Size());
    }
    try {
        entries.reserve(longest);
    } catch (const std::bad_alloc&) {
        return;
    }
    // At most one free block a page, each at worst in a list of its own. The block lists only get
    // shorter.
    if (!ReserveNodes(0) ||
        !ReserveNodes(std::min<std::uint64_t>(pages_.size(), freeBlocks_->Count())) ||
        !memoryManager_->BeginDefragment(freeBlocks_->Count())) {
        return;
    }
    freeBlocks_->Clear(*pool_);
    for (std::uint64_t i = 0; i < pages_.size(); ++i) {
        FreeBlock left;
        if (CompactPage(i, entries, left)) {
            InsertFree(left);
        }
    }
    memoryManager_->EndDefragment();
    pool_->Trim(ChunkPool::kKept);
}

// False where the page has no free block; `left` is the one that remains otherwise.
bool vBestFitAllocator::CompactPage(std::uint64_t index, std::vector<Block>& entries,
                                    FreeBlock& left) {
    Page& page = pages_[index];
    entries.assign(page.blocks.begin(), page.blocks.end());
    const std::size_t last = entries.empty() ? 0 : entries.size() - 1;
    const auto isFree = [](const Block& block) { return block.userData == kFree; };
    auto to = static_cast<std::size_t>(
        std::find_if(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(last), isFree) -
        entries.begin());
    if (to == last) {
        return false;
    }
    std::uint64_t offset = entries[to].offset;
    std::size_t run = 0;  // the first entry of the run of allocated blocks at hand, 0 without one
    for (std::size_t i = to + 1; i < last; ++i) {
        if (!isFree(entries[i])) {
            run = run != 0 ? run : i;
        } else if (run != 0) {
            const std::uint64_t distance = entries[run].offset - offset;
            const std::uint64_t bytes = entries[i].offset - entries[run].offset;
            memoryManager_->MoveBlocks({offset, index}, {entries[run].offset, index}, bytes,
                                       &entries[run], static_cast<std::uint32_t>(i - run));
            for (; run < i; ++run) {
                entries[to++] = {entries[run].offset - distance, entries[run].userData};
            }
            offset += bytes;
            run = 0;
        }
    }
    // A run that reaches the end stays where it is, and the free block before it ends there. The
    // end is the page's own: not every page has the default size.
    const std::size_t rest = run != 0 ? run : last;
    left = {entries[rest].offset - offset, offset, index};
    entries[to] = {offset, kFree};
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(to) + 1,
                  entries.begin() + static_cast<std::ptrdiff_t>(rest));
    page.blocks.Clear(*pool_);
    page.blocks.Build(entries.begin(), entries.size(), *pool_);
    return true;
}

std::uint64_t vBestFitAllocator::FreeupPages() {
    if (memoryManager_ == nullptr || contradictory_ || freeBlocks_ == nullptr ||
        freeBlocks_->Count() == 0 || !memoryManager_->BeginDefragment(freeBlocks_->Count())) {
        return 0;
    }
    std::uint64_t emptied = 0;
    bool more = true;
    while (more && freeBlocks_->Count() >= 2) {
        const std::uint64_t victim = freeBlocks_->LastPage();
        std::vector<Block> source;
        std::vector<MoveRange> moves;
        FreeIndex index;
        try {
            source.assign(pages_[victim].blocks.begin(), pages_[victim].blocks.end());
            recycledPages_.reserve(pages_.size());
            more = PlanMoves(victim, source, index, moves);
        } catch (const std::bad_alloc&) {
            more = false;
        }
        if (more) {
            // A page that is kept would be the next one again.
            more = EmptyPage(victim, source, moves, index);
            emptied += more || !moves.empty() ? 1U : 0U;
        }
    }
    pool_->Trim(ChunkPool::kKept);
    return emptied;
}

// Finds a place for every run of the victim and reserves what moving them takes. `index` is the
// free index as it will be without the victim. False where a run fits nowhere, or without memory.
bool vBestFitAllocator::PlanMoves(std::uint64_t victim, const std::vector<Block>& source,
                                  FreeIndex& index, std::vector<MoveRange>& moves) {
    std::vector<FreeBlock> others;
    others.reserve(freeBlocks_->Count());
    freeBlocks_->ForEach([&](const FreeBlock& block) {
        if (block.page != victim) {
            others.push_back(block);
        }
    });
    if (!index.Load(others, *pool_)) {
        return false;
    }
    const std::size_t end = source.size() - 1;
    std::size_t nodes = 0;
    for (std::size_t first = 0, last = 0; first < end; first = last + 1) {
        for (last = first; last < end && source[last].userData != kFree;) {
            ++last;
        }
        if (first == last) {
            continue;
        }
        const std::uint64_t size = source[last].offset - source[first].offset;
        FreePlace place;
        if (!index.LowerBound(size, place)) {
            return false;
        }
        const FreeBlock block = FreeIndex::At(place);
        if (!pool_->Reserve(index.NodesToInsert(block.size - size))) {
            return false;
        }
        moves.push_back({block.offset, block.page, size, static_cast<std::uint32_t>(first),
                         static_cast<std::uint32_t>(last)});
        RegisterFree(index, place, size);
        // Blocks that go in side by side split a level once, and again with every half node of
        // them.
        nodes += (pages_[block.page].blocks.Levels() + 2) * (1 + (last - first) / 16);
    }
    return pool_->Reserve(nodes + index.NodesToInsert(pages_[victim].size));
}

// Carries out what PlanMoves found. False where the memory manager keeps the page.
bool vBestFitAllocator::EmptyPage(std::uint64_t victim, const std::vector<Block>& source,
                                  const std::vector<MoveRange>& moves, FreeIndex& index) {
    for (const MoveRange& move : moves) {
        memoryManager_->MoveBlocks({move.offset, move.page}, {source[move.first].offset, victim},
                                   move.size, &source[move.first], move.last - move.first);
        CommitAllocAt(move, source);
    }
    std::swap(*freeBlocks_, index);
    Page& page = pages_[victim];
    freeSize_ += page.size - page.freeSize;
    page.freeSize = page.size;
    if (ReleasePage(victim)) {
        return true;
    }
    GiveToPage(victim, 0);
    const Block entries[] = {{0, kFree}, {page.size, kFree}};
    page.blocks.Clear(*pool_);
    page.blocks.Build(entries, 2, *pool_);
    InsertFree({page.size, 0, victim});
    return false;
}

void vBestFitAllocator::CommitAllocAt(const MoveRange& move, const std::vector<Block>& source) {
    TakeFromPage(move.page, move.size);
    Page::List& blocks = pages_[move.page].blocks;
    Page::List::Place at;
    blocks.Find(move.offset, at);
    const std::uint64_t end = at.Ahead(1)->offset;
    at->userData = source[move.first].userData;
    const std::uint64_t distance = move.offset - source[move.first].offset;  // modulo 2^64
    for (std::uint32_t i = move.first + 1; i < move.last; ++i) {
        blocks.Insert({source[i].offset + distance, source[i].userData}, *pool_);
    }
    if (move.offset + move.size < end) {
        blocks.Insert({move.offset + move.size, kFree}, *pool_);
    }
}

}  // namespace ZKL
