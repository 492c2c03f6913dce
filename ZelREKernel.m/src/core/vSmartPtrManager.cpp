#include "ZelREKernel/core/vSmartPtrManager.h"

#include <cstdlib>
#include <mutex>
#include <new>

#include "base/AlignedHeap.h"
#include "base/LibraryEnd.h"

namespace ZKL {

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::size_t vSmartPtrManager::kLinksPerBlock;
namespace {

constinit UntilUnload<vSmartPtrManager> manager;

// A free link's first word holds the next free link.
void SetNext(vSmartPtrLink* link, vSmartPtrLink* next) noexcept {
    link->object.store(reinterpret_cast<vSmartPtrObject*>(next), std::memory_order_relaxed);
}

vSmartPtrLink* GetNext(const vSmartPtrLink* link) noexcept {
    return reinterpret_cast<vSmartPtrLink*>(link->object.load(std::memory_order_relaxed));
}

}  // namespace

vSmartPtrManager::~vSmartPtrManager() {
    _FreeBlocks(spare_);
    _FreeBlocks(used_);
}

vSmartPtrManager& vSmartPtrManager::GetInstance() noexcept {
    return *manager;
}

vSmartPtrLink* vSmartPtrManager::GetFreeLink() noexcept {
    void* memory = nullptr;
    {
        const std::lock_guard guard(lock_);
        memory = blockSize_ != 0 ? _PopOrCarve()
                                 : AlignedAllocate(sizeof(vSmartPtrLink), alignof(vSmartPtrLink));
        usedLinks_ += memory != nullptr ? 1 : 0;
    }
    return memory != nullptr ? new (memory) vSmartPtrLink() : nullptr;
}

void vSmartPtrManager::ReleaseLink(vSmartPtrLink* link) noexcept {
    if (link == nullptr) {
        return;
    }
    const std::lock_guard guard(lock_);
    --usedLinks_;
    if (blockSize_ != 0) {
        SetNext(link, free_);
        free_ = link;
    } else {
        AlignedFree(link);
    }
}

bool vSmartPtrManager::ReserveBlocks(std::uint32_t count) noexcept {
    const std::lock_guard guard(lock_);
    for (; blockSize_ != 0 && count > 0; --count) {
        Block* const block = _NewBlock();
        if (block == nullptr) {
            return false;
        }
        block->next = spare_;
        spare_ = block;
    }
    return true;
}

std::uint32_t vSmartPtrManager::GetBlockCount() const noexcept {
    const std::lock_guard guard(lock_);
    return blockCount_;
}

std::uint32_t vSmartPtrManager::GetUsedLinkCount() const noexcept {
    const std::lock_guard guard(lock_);
    return usedLinks_;
}

void vSmartPtrManager::_FreeBlocks(Block* block) noexcept {
    while (block != nullptr) {
        Block* const next = block->next;
        std::free(block->allocation);
        block = next;
    }
}

vSmartPtrManager::Block* vSmartPtrManager::_NewBlock() noexcept {
    void* const allocation = std::malloc(blockSize_);
    if (allocation == nullptr) {
        return nullptr;
    }
    ++blockCount_;
    constexpr std::uintptr_t kAlign = alignof(vSmartPtrLink);
    const std::uintptr_t afterHeader =
        reinterpret_cast<std::uintptr_t>(allocation) + sizeof(Block) + kAlign - 1;
    auto* const firstLink = reinterpret_cast<void*>(afterHeader & ~(kAlign - 1));
    return new (static_cast<Block*>(firstLink) - 1) Block{allocation, nullptr, 0};
}

// Makes a spare block or a new one the current one. Null when there is no memory.
vSmartPtrManager::Block* vSmartPtrManager::_NextBlock() noexcept {
    Block* const block = spare_ != nullptr ? spare_ : _NewBlock();
    if (block == nullptr) {
        return nullptr;
    }
    if (block == spare_) {
        spare_ = block->next;
    }
    block->uncarved = linksPerBlock_;
    block->next = used_;
    used_ = block;
    current_ = block;
    return block;
}

vSmartPtrLink* vSmartPtrManager::_PopOrCarve() noexcept {
    if (free_ != nullptr) {
        vSmartPtrLink* const link = free_;
        free_ = GetNext(link);
        return link;
    }
    Block* const block = current_ != nullptr ? current_ : _NextBlock();
    if (block == nullptr) {
        return nullptr;
    }
    auto* const firstLink = reinterpret_cast<vSmartPtrLink*>(block + 1);
    vSmartPtrLink* const link = firstLink + (linksPerBlock_ - block->uncarved);
    if (--block->uncarved == 0) {
        current_ = nullptr;
    }
    return link;
}

}  // namespace ZKL
