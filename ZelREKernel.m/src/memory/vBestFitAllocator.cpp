#include "ZelREKernel/memory/vBestFitAllocator.h"

#include <new>
#include <utility>

#include "memory/vBestFitAllocator.h"

namespace ZKL {

void vBestFitAllocator::vMemoryManager::Reserved() {}

vBestFitAllocator::vBestFitAllocator() noexcept = default;
vBestFitAllocator::vBestFitAllocator(std::uint64_t pageSize, vMemoryManager* memoryManager) noexcept
    : pageSize_(pageSize), memoryManager_(memoryManager) {}
vBestFitAllocator::vBestFitAllocator(vBestFitAllocator&& other) noexcept {
    *this = std::move(other);
}

vBestFitAllocator& vBestFitAllocator::operator=(vBestFitAllocator&& other) noexcept {
    if (this != &other) {
        pageSize_ = other.pageSize_;
        memoryManager_ = other.memoryManager_;
        freeSize_ = std::exchange(other.freeSize_, 0);
        maxPageFreeSize_ = std::exchange(other.maxPageFreeSize_, 0);
        maxPageFreeIndex_ = std::exchange(other.maxPageFreeIndex_, kFree);
        contradictory_ = std::exchange(other.contradictory_, false);
        // Before the pool that their pieces are of.
        pages_ = std::exchange(other.pages_, {});
        freeBlocks_ = std::move(other.freeBlocks_);
        recycledPages_ = std::exchange(other.recycledPages_, {});
        pool_ = std::move(other.pool_);
    }
    return *this;
}

vBestFitAllocator::~vBestFitAllocator() = default;

vBestFitAllocator::vBestFitAllocator(const vBestFitAllocator& other)
    : freeSize_(other.freeSize_),
      pageSize_(other.pageSize_),
      maxPageFreeSize_(other.maxPageFreeSize_),
      maxPageFreeIndex_(other.maxPageFreeIndex_),
      recycledPages_(other.recycledPages_),
      memoryManager_(other.memoryManager_),
      contradictory_(other.contradictory_) {
    std::vector<FreeBlock> blocks;
    if (other.freeBlocks_ != nullptr) {
        other.freeBlocks_->ForEach([&](const FreeBlock& block) { blocks.push_back(block); });
    }
    if (!ReserveNodes(0) || !freeBlocks_->Load(blocks, *pool_)) {
        throw std::bad_alloc();
    }
    pages_.reserve(other.pages_.size());
    for (const Page& page : other.pages_) {
        if (!pool_->Reserve(Page::List::NodesFor(page.blocks.Size()))) {
            throw std::bad_alloc();
        }
        Page& copy = pages_.emplace_back(Page{page.size, page.freeSize, {}});
        copy.blocks.Build(page.blocks.begin(), page.blocks.Size(), *pool_);
    }
}

vBestFitAllocator& vBestFitAllocator::operator=(const vBestFitAllocator& other) {
    return *this = vBestFitAllocator(other);
}

void vBestFitAllocator::Initialize(std::uint64_t pageSize, vMemoryManager* memoryManager) noexcept {
    pageSize_ = pageSize;
    memoryManager_ = memoryManager;
}

vBestFitAllocator::Address vBestFitAllocator::Alloc(std::uint64_t size, std::uint64_t userData,
                                                    bool allowDefragment, bool dedicatedPage) {
    if (size == 0 || userData == kFree || contradictory_) {
        return kInvalidAlloc;
    }
    if (size > pageSize_ || dedicatedPage) {
        if (memoryManager_ == nullptr || !ReserveNodes(1) || !ReservePage()) {
            return kInvalidAlloc;
        }
        const Address address{0, AddLargeFilledPage(size, userData)};
        memoryManager_->AllocateLargePage(address, size, userData);
        return address;
    }
    FreePlace place;
    if (!FindRoom(size, allowDefragment, place)) {
        return kInvalidAlloc;
    }
    const FreeBlock block = FreeIndex::At(place);
    if (!ReserveNodes(pages_[block.page].blocks.Levels() + 1 +
                      freeBlocks_->NodesToInsert(block.size - size))) {
        return kInvalidAlloc;
    }
    const std::uint64_t remainderOffset = RegisterFree(*freeBlocks_, place, size);
    CommitAllocAt(Commit{block.offset, block.page, remainderOffset, size, userData});
    return {block.offset, block.page};
}

void vBestFitAllocator::Free(Address address, unsigned int count) {
    if (count == 0 || contradictory_) {
        return;
    }
    Page& page = pages_[address.page];
    Page::List::Place at;
    page.blocks.Find(address.offset, at);
    const Block* const before = at.Before();
    const Block after = *at.Ahead(count);
    const Block* const beyond = at.Ahead(std::uint64_t{count} + 1);  // null behind the last entry
    const std::uint64_t size = after.offset - address.offset;
    FreeBlock left{0, address.offset, address.page};
    FreeBlock right{0, after.offset, address.page};
    if (before != nullptr && before->userData == kFree) {
        left = {address.offset - before->offset, before->offset, address.page};
    }
    if (beyond != nullptr && after.userData == kFree) {
        right.size = beyond->offset - after.offset;
    }
    if (!ReserveNodes(freeBlocks_->NodesToInsert(left.size + size + right.size))) {
        throw std::bad_alloc();
    }
    recycledPages_.reserve(pages_.size());

    GiveToPage(address.page, size);
    if (left.size == 0) {
        at->userData = kFree;
    }
    const unsigned int kept = left.size == 0 ? 1 : 0;
    page.blocks.Erase(at, kept, count - kept + (right.size != 0 ? 1 : 0), *pool_);

    if (page.freeSize == page.size && memoryManager_ != nullptr && ReleasePage(address.page)) {
        for (const FreeBlock& merged : {left, right}) {
            if (merged.size != 0) {
                EraseFree(merged);
            }
        }
    } else if (left.size == 0 && right.size == 0) {
        InsertFree({size, address.offset, address.page});
    } else if (left.size > right.size) {
        if (right.size != 0) {
            EraseFree(right);
        }
        MergeFree(left, size + right.size, left.offset);
    } else {
        if (left.size != 0) {
            EraseFree(left);
        }
        MergeFree(right, left.size + size, left.offset);
    }
    pool_->Trim(ChunkPool::kKept);
}

// Makes the books and sees to it that the pool has `count` nodes.
bool vBestFitAllocator::ReserveNodes(std::size_t count) noexcept {
    if (pool_ == nullptr) {
        pool_.reset(new (std::nothrow) ChunkPool);
        freeBlocks_.reset(pool_ != nullptr ? new (std::nothrow) FreeIndex : nullptr);
        if (freeBlocks_ == nullptr) {
            pool_.reset();
            return false;
        }
    }
    return pool_->Reserve(count);
}

// Sees to it that TakePageIndex has room.
bool vBestFitAllocator::ReservePage() noexcept {
    try {
        if (recycledPages_.empty() && pages_.size() == pages_.capacity()) {
            pages_.reserve(2 * pages_.size() + 1);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::uint64_t vBestFitAllocator::TakePageIndex() noexcept {
    if (recycledPages_.empty()) {
        pages_.emplace_back();
        return pages_.size() - 1;
    }
    const std::uint64_t index = recycledPages_.back();
    recycledPages_.pop_back();
    return index;
}

// The best fit, after a Defragment or on a new page where it takes that.
bool vBestFitAllocator::FindRoom(std::uint64_t size, bool allowDefragment, FreePlace& place) {
    if (freeBlocks_ != nullptr && freeBlocks_->LowerBound(size, place)) {
        return true;
    }
    bool fits = false;
    if (allowDefragment && !pages_.empty()) {
        if (maxPageFreeIndex_ >= pages_.size()) {
            RecomputeMaxPageFreeSize();
        }
        if (size < maxPageFreeSize_) {
            Defragment();
        }
        fits = size <= GetMaxFreeSize();
    }
    if (!fits) {
        // For the page and for the allocation on it, so that neither is left without the other.
        if (!ReserveNodes(0) || !ReservePage() ||
            !ReserveNodes(1 + freeBlocks_->NodesToInsert(pageSize_) + 2 +
                          freeBlocks_->NodesToInsert(pageSize_ - size))) {
            return false;
        }
        AddPage();
    }
    return freeBlocks_->LowerBound(size, place);
}

void vBestFitAllocator::AddPage() {
    const std::uint64_t index = TakePageIndex();
    if (memoryManager_ != nullptr && !memoryManager_->AllocatePage(index, pageSize_)) {
        return;
    }
    const Block entries[] = {{0, kFree}, {pageSize_, kFree}};
    Page& page = pages_[index];
    page.size = page.freeSize = pageSize_;
    page.blocks.Build(entries, 2, *pool_);
    InsertFree({pageSize_, 0, index});
    freeSize_ += pageSize_;
    maxPageFreeIndex_ = index;
    maxPageFreeSize_ = pageSize_;
}

std::uint64_t vBestFitAllocator::AddLargeFilledPage(std::uint64_t size, std::uint64_t userData) {
    const std::uint64_t index = TakePageIndex();
    const Block entries[] = {{0, userData}, {size, kFree}};
    pages_[index].size = size;
    pages_[index].blocks.Build(entries, 2, *pool_);
    return index;
}

void vBestFitAllocator::CommitAllocAt(const Commit& commit) {
    TakeFromPage(commit.page, commit.size);
    Page::List& blocks = pages_[commit.page].blocks;
    Page::List::Place at;
    blocks.Find(commit.offset, at);
    at->userData = commit.userData;
    if (commit.remainderOffset != kFree) {
        blocks.InsertBehind(at, {commit.remainderOffset, kFree}, *pool_);
    }
}

void vBestFitAllocator::TakeFromPage(std::uint64_t page, std::uint64_t size) {
    pages_[page].freeSize -= size;
    if (page == maxPageFreeIndex_) {
        maxPageFreeIndex_ = kFree;
    }
    freeSize_ -= size;
}

void vBestFitAllocator::GiveToPage(std::uint64_t page, std::uint64_t size) {
    pages_[page].freeSize += size;
    if (pages_[page].freeSize > maxPageFreeSize_) {
        maxPageFreeSize_ = pages_[page].freeSize;
        maxPageFreeIndex_ = page;
    }
    freeSize_ += size;
}

// Offers a free page to the memory manager. The caller has reserved its place among the recycled.
bool vBestFitAllocator::ReleasePage(std::uint64_t page) {
    Page& released = pages_[page];
    if (!memoryManager_->ReleasePage(page, released.size)) {
        return false;
    }
    freeSize_ -= released.size;
    released.size = released.freeSize = 0;
    released.blocks.Clear(*pool_);
    recycledPages_.push_back(page);
    return true;
}

void vBestFitAllocator::InsertFree(const FreeBlock& block) {
    freeBlocks_->Insert(block, *pool_);
}

void vBestFitAllocator::EraseFree(const FreeBlock& block) {
    FreePlace place;
    if (FreeLookup(block, place)) {
        freeBlocks_->Erase(place, *pool_);
    }
}

bool vBestFitAllocator::FreeLookup(const FreeBlock& block, FreePlace& place) const {
    return freeBlocks_->Find(block, place);
}

// Takes `amount` bytes from the front of a free entry. Where the rest begins, all ones without one.
std::uint64_t vBestFitAllocator::RegisterFree(FreeIndex& index, FreePlace& place,
                                              std::uint64_t amount) {
    const FreeBlock block = FreeIndex::At(place);
    if (block.size == amount) {
        index.Erase(place, *pool_);
        return kFree;
    }
    const FreeBlock rest{block.size - amount, block.offset + amount, block.page};
    ReinsertLeft(index, place, rest);
    return rest.offset;
}

// Grows a free entry by `amount` bytes; it starts at `offset` then.
void vBestFitAllocator::MergeFree(const FreeBlock& block, std::uint64_t amount,
                                  std::uint64_t offset) {
    FreePlace place;
    if (FreeLookup(block, place)) {
        ReinsertRight(place, {block.size + amount, offset, block.page});
    }
}

void vBestFitAllocator::ReinsertLeft(FreeIndex& index, FreePlace& place, const FreeBlock& shrunk) {
    index.Replace(place, shrunk, *pool_);
}

void vBestFitAllocator::ReinsertRight(FreePlace& place, const FreeBlock& grown) {
    freeBlocks_->Replace(place, grown, *pool_);
}

// Begins at the cached value and not at zero: nothing but a new page lowers that.
void vBestFitAllocator::RecomputeMaxPageFreeSize() {
    for (std::uint64_t i = 0; i < pages_.size(); ++i) {
        if (pages_[i].freeSize > maxPageFreeSize_) {
            maxPageFreeSize_ = pages_[i].freeSize;
            maxPageFreeIndex_ = i;
        }
    }
}

std::uint64_t vBestFitAllocator::GetMaxFreeSize() const noexcept {
    return freeBlocks_ != nullptr ? freeBlocks_->Largest() : 0;
}

std::uint64_t vBestFitAllocator::GetNumPages() const noexcept {
    return pages_.size();
}

std::uint64_t vBestFitAllocator::GetNumActivePages() const noexcept {
    return pages_.size() - recycledPages_.size();
}

std::uint64_t vBestFitAllocator::GetNumBlocks(std::uint64_t page) const noexcept {
    return page < pages_.size() ? pages_[page].blocks.Size() : 0;
}

std::uint64_t vBestFitAllocator::GetPageSize(std::uint64_t page) const noexcept {
    return page < pages_.size() ? pages_[page].size : 0;
}

vBestFitAllocator::Block vBestFitAllocator::GetBlock(std::uint64_t page,
                                                     std::uint64_t index) const noexcept {
    return index < GetNumBlocks(page) ? pages_[page].blocks[index] : Block{kFree, kFree};
}

float vBestFitAllocator::GetFragmentation() const noexcept {
    if (freeBlocks_ == nullptr || freeBlocks_->Count() == 0) {
        return 0;
    }
    return static_cast<float>(freeSize_ - GetMaxFreeSize()) / static_cast<float>(freeSize_);
}

}  // namespace ZKL
