#pragma once

// The process-wide pool of links. Links come from blocks of 256, so that a shared object costs no
// second trip to the heap, and a returned link is the next one handed out. Blocks go back to the
// heap when the library is unloaded.
//
// All operations may be called from any thread; one lock guards the pool.

#include <cstddef>
#include <cstdint>

#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/core/vSmartPtrLink.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vSmartPtrManager {
public:
    static constexpr std::size_t kLinksPerBlock = 256;  // of the process-wide pool

    // With `linksPerBlock` 0 there is no pooling: every link is a block of the heap by itself.
    explicit constexpr vSmartPtrManager(std::size_t linksPerBlock = kLinksPerBlock) noexcept
        : linksPerBlock_(linksPerBlock), blockSize_(_BlockSize(linksPerBlock)) {}
    vSmartPtrManager(const vSmartPtrManager&) = delete;
    // Frees the blocks, the links in use among them. Links without pooling are their users' to
    // return.
    ~vSmartPtrManager();
    // A pool stays with its links: assignment does nothing.
    vSmartPtrManager& operator=(const vSmartPtrManager&) noexcept { return *this; }
    vSmartPtrManager& operator=(vSmartPtrManager&&) noexcept { return *this; }

    // The pool of all shared objects.
    static vSmartPtrManager& GetInstance() noexcept;

    // A cleared link, null when there is no memory. The caller owns it until ReleaseLink.
    vSmartPtrLink* GetFreeLink() noexcept;
    // Takes a link of this pool back; null is ignored.
    void ReleaseLink(vSmartPtrLink* link) noexcept;
    // Fetches `count` spare blocks ahead of need. False when the memory ran out on the way; those
    // had until then stay. O(count).
    bool ReserveBlocks(std::uint32_t count) noexcept;

    // The blocks had from the heap, spare ones too; they only grow.
    std::uint32_t GetBlockCount() const noexcept;
    // The links handed out and not yet returned.
    std::uint32_t GetUsedLinkCount() const noexcept;

private:
    // The three words before a block's first link.
    struct Block {
        void* allocation;
        Block* next;
        std::size_t uncarved;
    };

    static constexpr std::size_t _BlockSize(std::size_t links) noexcept {
        const std::size_t slack = alignof(vSmartPtrLink) - 1;
        return links == 0 ? 0 : links * sizeof(vSmartPtrLink) + sizeof(Block) + slack;
    }
    static void _FreeBlocks(Block* block) noexcept;

    Block* _NewBlock() noexcept;
    Block* _NextBlock() noexcept;
    vSmartPtrLink* _PopOrCarve() noexcept;

    std::uint32_t blockCount_ = 0;
    vSmartPtrLink* free_ = nullptr;  // chained through each link's first word
    std::size_t linksPerBlock_;
    std::size_t blockSize_;
    Block* spare_ = nullptr;
    Block* used_ = nullptr;  // the current one included
    Block* current_ = nullptr;
    std::uint32_t usedLinks_ = 0;
    mutable vSlimLock lock_;
};

}  // namespace ZKL
