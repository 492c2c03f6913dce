#pragma once

// Hands out (page, offset) addresses inside pages whose memory belongs to the client, buffers of a
// graphics device for example: this class never touches them. It looks for the smallest free block
// that fits, over all pages, merges what is freed, compacts pages and empties them by asking the
// client to move bytes, and reads and writes its state as text.
//
// No lock: the caller serialises all calls. The client's callbacks must not call back into the
// allocator. All sizes and offsets are bytes; all ones marks what is absent.

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ChunkPool;
class FreeIndex;
struct FreeBlock;
struct FreePlace;

class vBestFitAllocator {
public:
    // Where an allocation is.
    struct Address {
        std::uint64_t offset;  // bytes from the page's beginning
        std::uint64_t page;    // index from 0; a released page's is used again

        // Whether both mean the same place.
        friend bool operator==(const Address&, const Address&) = default;
    };

    // An entry of a page's list: it reaches to the next entry's offset. The tag is the client's
    // own, all ones in a free block. Every list ends with a free entry at the page's size.
    struct Block {
        std::uint64_t offset;
        std::uint64_t userData;
    };

    class vMemoryManager;

    static constexpr std::uint64_t kFree = ~std::uint64_t{0};  // the tag of a free block
    // What Alloc returns when it has nothing.
    static constexpr Address kInvalidAlloc{kFree, kFree};

    ZELREKERNEL_EXPORT vBestFitAllocator() noexcept;
    // Borrows `memoryManager`, which must outlive this object; null means that pages need no
    // backing, and then nothing is released, moved or given a page of its own.
    ZELREKERNEL_EXPORT vBestFitAllocator(std::uint64_t pageSize,
                                         vMemoryManager* memoryManager) noexcept;
    // The copy has the same memory manager, so only one of the two may go on. May throw
    // std::bad_alloc.
    ZELREKERNEL_EXPORT vBestFitAllocator(const vBestFitAllocator& other);
    // `other` is left without pages, with its page size and memory manager.
    ZELREKERNEL_EXPORT vBestFitAllocator(vBestFitAllocator&& other) noexcept;
    // As the copy and the move; what was managed before is forgotten, and no page is released:
    ZELREKERNEL_EXPORT vBestFitAllocator& operator=(const vBestFitAllocator& other);
    ZELREKERNEL_EXPORT vBestFitAllocator& operator=(vBestFitAllocator&& other) noexcept;
    ZELREKERNEL_EXPORT ~vBestFitAllocator();

    // Sets the size of later pages and the memory manager, and nothing else.
    ZELREKERNEL_EXPORT void Initialize(std::uint64_t pageSize,
                                       vMemoryManager* memoryManager) noexcept;

    // The smallest free block that holds `size` bytes; among equals the lowest page, then the
    // lowest offset. Where none does, a new page, after a Defragment if `allowDefragment` says so
    // and some page may have the room. A request over the page size, or with `dedicatedPage`, gets
    // a page of its own. `userData` is any value but all ones.
    //
    // kInvalidAlloc when the size is 0, the tag is all ones, no page can be had, or there is no
    // memory for the bookkeeping. O(log n) in the number of blocks, apart from a Defragment.
    ZELREKERNEL_EXPORT Address Alloc(std::uint64_t size, std::uint64_t userData,
                                     bool allowDefragment, bool dedicatedPage);
    // Frees `count` consecutive allocated blocks of a page, the first one at `address`, which must
    // come from Alloc. A page that becomes free is offered for release. Throws std::bad_alloc, with
    // nothing changed, when the bookkeeping cannot grow. O(count log n).
    ZELREKERNEL_EXPORT void Free(Address address, unsigned int count);

    // Moves the allocated blocks of each page together towards offset 0. The last run of a page
    // stays where it is when no free space follows it. Does nothing when there is no memory
    // manager, when it declines, or when there is no memory for the bookkeeping.
    ZELREKERNEL_EXPORT void Defragment();
    // Empties pages, the one with the largest free block first, into the free space of others and
    // offers them for release, until one does not fit or is kept. Returns how many were emptied.
    ZELREKERNEL_EXPORT std::uint64_t FreeupPages();

    // The bytes of all free blocks.
    std::uint64_t GetFreeSize() const noexcept { return freeSize_; }
    // The largest free block, 0 without one.
    ZELREKERNEL_EXPORT std::uint64_t GetMaxFreeSize() const noexcept;
    // Pages ever made. Released ones keep their index and count here.
    ZELREKERNEL_EXPORT std::uint64_t GetNumPages() const noexcept;
    // Without the released ones.
    ZELREKERNEL_EXPORT std::uint64_t GetNumActivePages() const noexcept;
    // The entries of a page's list, the last one included; 0 for a page that does not exist.
    ZELREKERNEL_EXPORT std::uint64_t GetNumBlocks(std::uint64_t page) const noexcept;
    // In bytes; 0 for a page that does not exist.
    ZELREKERNEL_EXPORT std::uint64_t GetPageSize(std::uint64_t page) const noexcept;
    // The size of later pages in bytes.
    std::uint64_t GetDefaultPageSize() const noexcept { return pageSize_; }
    // An entry of a page's list, all ones in both fields for one that does not exist. O(log n).
    ZELREKERNEL_EXPORT Block GetBlock(std::uint64_t page, std::uint64_t index) const noexcept;
    // 0 when all free space is one block (or there is none), towards 1 the more it is scattered.
    ZELREKERNEL_EXPORT float GetFragmentation() const noexcept;

    // The state as decimal text; docs/memory.md describes it. The memory manager is no part of it.
    ZELREKERNEL_EXPORT void Stream(std::ostream& stream) const;
    // Replaces the state by a text of Stream; memory stays proportional to the text's length. Where
    // the text ends early or holds no number, the stream fails and nothing changes. A text that
    // contradicts itself is kept as it was read, for Validate, Stream and the queries: until the
    // next Unstream such an allocator allocates nothing, and frees and moves nothing.
    ZELREKERNEL_EXPORT void Unstream(std::istream& stream);
    // Whether free index, block lists and sums agree. O(n log n).
    ZELREKERNEL_EXPORT bool Validate() const;

private:
    struct Page;
    struct Commit;
    struct MoveRange;

    bool ReserveNodes(std::size_t count) noexcept;
    bool ReservePage() noexcept;
    std::uint64_t TakePageIndex() noexcept;
    bool FindRoom(std::uint64_t size, bool allowDefragment, FreePlace& place);

    void AddPage();
    std::uint64_t AddLargeFilledPage(std::uint64_t size, std::uint64_t userData);
    void CommitAllocAt(const Commit& commit);
    void CommitAllocAt(const MoveRange& move, const std::vector<Block>& source);
    void TakeFromPage(std::uint64_t page, std::uint64_t size);
    void GiveToPage(std::uint64_t page, std::uint64_t size);
    bool ReleasePage(std::uint64_t page);

    void InsertFree(const FreeBlock& block);
    void EraseFree(const FreeBlock& block);
    bool FreeLookup(const FreeBlock& block, FreePlace& place) const;
    std::uint64_t RegisterFree(FreeIndex& index, FreePlace& place, std::uint64_t amount);
    void MergeFree(const FreeBlock& block, std::uint64_t amount, std::uint64_t offset);
    void ReinsertLeft(FreeIndex& index, FreePlace& place, const FreeBlock& shrunk);
    void ReinsertRight(FreePlace& place, const FreeBlock& grown);
    void RecomputeMaxPageFreeSize();

    bool CompactPage(std::uint64_t index, std::vector<Block>& entries, FreeBlock& left);
    bool PlanMoves(std::uint64_t victim, const std::vector<Block>& source, FreeIndex& index,
                   std::vector<MoveRange>& moves);
    bool EmptyPage(std::uint64_t victim, const std::vector<Block>& source,
                   const std::vector<MoveRange>& moves, FreeIndex& index);
    static bool ListIsValid(const Page& page);
    bool IsConsistent() const;

    std::uint64_t freeSize_ = 0;
    std::uint64_t pageSize_ = 0;
    std::uint64_t maxPageFreeSize_ = 0;
    std::uint64_t maxPageFreeIndex_ = kFree;
    std::vector<Page> pages_;
    std::unique_ptr<FreeIndex> freeBlocks_;  // made with the first page
    std::vector<std::uint64_t> recycledPages_;
    vMemoryManager* memoryManager_ = nullptr;
    std::unique_ptr<ChunkPool> pool_;  // what the lists and the index are made of
    bool contradictory_ = false;       // the last Unstream read a text that contradicts itself
};

// What the client does for an allocator. Every call comes from inside Alloc, Free, Defragment or
// FreeupPages, on the caller's thread, and must not throw.
class ZELREKERNEL_EXPORT vBestFitAllocator::vMemoryManager {
public:
    // Backs a page of `size` bytes that holds the one allocation at `address`. The result is
    // ignored.
    virtual bool AllocateLargePage(const Address& address, std::uint64_t size,
                                   std::uint64_t userData) = 0;
    // Backs a page of `size` bytes. False refuses it.
    virtual bool AllocatePage(std::uint64_t page, std::uint64_t size) = 0;
    // The page of `size` bytes is free: takes its memory back, or keeps it by returning false.
    virtual bool ReleasePage(std::uint64_t page, std::uint64_t size) = 0;
    // Blocks are about to move. False cancels that.
    virtual bool BeginDefragment(std::uint64_t freeBlockCount) = 0;
    // Copies `size` bytes between two addresses; in one page the two spans may overlap, as for
    // memmove. `blocks` are the `count` blocks that the run consists of, with their old offsets.
    virtual void MoveBlocks(const Address& to, const Address& from, std::uint64_t size,
                            const Block* blocks, std::uint32_t count) = 0;
    // Never called; it keeps its place in the table.
    virtual void Reserved();
    // The end of a Defragment; none follows a FreeupPages.
    virtual void EndDefragment() = 0;

protected:
    vMemoryManager() noexcept = default;
    vMemoryManager(const vMemoryManager&) noexcept = default;
    vMemoryManager& operator=(const vMemoryManager&) noexcept = default;
    ~vMemoryManager() = default;
};

}  // namespace ZKL
