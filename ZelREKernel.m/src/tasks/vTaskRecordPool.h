#pragma once

// Fixed-size records for task nodes and jobs: taken and given back last in, first out, in blocks of
// 16 that stay with the pool until the library is unloaded.
//
// Every thread keeps a few free records at hand (a magazine), so that the pool's lock is needed
// once in kMagazineSize operations. The order on one thread is that of a single free list: a
// magazine holds the youngest records, and whole magazines go to the shared list and come back last
// in, first out. Only a list of many thousand records is put in the order of memory now and then,
// which holds the lock for some ten nanoseconds a record.
//
// All operations may be called from any thread.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "PerThread.h"
#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/tasks/vTaskRecord.h"
#include "ZelREKernel/tasks/vTaskRecordCounts.h"
#include "base/LargePages.h"

namespace ZKL::vTaskDetail {

class vTaskRecordPool {
public:
    static constexpr std::uint32_t kRecordsPerBlock = 16;
    static constexpr std::uint32_t kListRecordSize = 32;
    static constexpr std::uint32_t kMagazineSize = 64;

    // Free records, the youngest last. An array rather than a list through the records: the records
    // that are taken next can be fetched into the cache ahead of their use.
    struct Stack {
        void* records[kMagazineSize];
        std::uint32_t count = 0;
        Stack* below = nullptr;  // in a list of stacks
    };

    // What one thread has at hand. The thread alone changes it; others read `live`.
    struct Magazine {
        Stack* top = nullptr;
        Stack* second = nullptr;  // empty, or full of records older than those of `top`
        // Records taken less records given back by this thread.
        std::atomic<std::int64_t> live = 0;

        void Count(std::int64_t change) noexcept {
            // Relaxed and no read-modify-write: one writer, and the readers only add numbers up.
            live.store(live.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
        }
    };

    // Which of the process-wide pools; also the index of its magazine.
    enum EKind : unsigned { eNodes, eJobs, eLists, eKindCount };

    explicit constexpr vTaskRecordPool(EKind kind) noexcept : kind_(kind) {}
    vTaskRecordPool(const vTaskRecordPool&) = delete;
    vTaskRecordPool& operator=(const vTaskRecordPool&) = delete;
    // Frees every block, whether or not its records are in use.
    ~vTaskRecordPool();

    static vTaskRecordPool& Nodes() noexcept;
    static vTaskRecordPool& Jobs() noexcept;
    // Records of kListRecordSize bytes; the same blocks hold more of them.
    static vTaskRecordPool& Lists() noexcept;

    // An uninitialised record. Throws std::bad_alloc.
    void* Take() {
        Magazine& magazine = Own();
        if (magazine.top->count == 0) [[unlikely]] {
            Refill(magazine);
        }
        Stack& stack = *magazine.top;
        const std::uint32_t left = --stack.count;
        if (left >= kPrefetchDistance) {
            PrefetchTaskRecord(stack.records[left - kPrefetchDistance]);
        }
        magazine.Count(+1);
        return stack.records[left];
    }
    // Ends the process when the heap has no room for the list of records.
    void Give(void* record) noexcept {
        Magazine& magazine = Own();
        if (magazine.top->count == kMagazineSize) [[unlikely]] {
            Spill(magazine);
        }
        magazine.top->records[magazine.top->count++] = record;
        magazine.Count(-1);
    }

    vTaskRecordCounts Count() const;

    // Gives a thread that begins its two stacks. Throws std::bad_alloc.
    void Equip(Magazine& magazine);
    // Takes the free records and the count of a thread that ends.
    void Retire(Magazine& magazine) noexcept;
    // The calling thread's magazines are gone.
    static void ForgetThread() noexcept { OwnMagazines::Set(nullptr); }

private:
    struct Block {
        std::byte records[kRecordsPerBlock * kTaskRecordSize];
        std::uint64_t handedOut;
    };
    static_assert(sizeof(Block) == 1288);
    // From one block to the next, so that the records of all of them are aligned.
    static constexpr std::size_t kBlockStride =
        (sizeof(Block) + kTaskRecordAlignment - 1) / kTaskRecordAlignment * kTaskRecordAlignment;
    static constexpr std::size_t kBlocksPerLargePage = kLargePageSize / kBlockStride;

    // How many records ahead of its use a record is fetched into the cache.
    static constexpr std::uint32_t kPrefetchDistance = 4;

    Magazine& Own() {
        Magazine* magazines = OwnMagazines::Get();
        if (magazines == nullptr) [[unlikely]] {
            magazines = EquipThread();
        }
        return magazines[kind_];
    }
    static Magazine* EquipThread();
    void Refill(Magazine& magazine);
    void Spill(Magazine& magazine);
    std::size_t RecordSize() const noexcept {
        return kind_ == eLists ? kListRecordSize : kTaskRecordSize;
    }
    void* Carve();
    Block* TakeBlock();
    Stack* TakeSpare();
    void OrderFilled() noexcept;

    // This thread's magazines, one for each kind; null until it takes or gives its first record.
    // The hottest pointer of this library: a task node and its job pass here four times.
    using OwnMagazines = PerThread<struct MagazinesTag, Magazine*>;

    const EKind kind_;
    mutable vSlimLock lock_;
    Stack* filled_ =
        nullptr;  // stacks with records, the youngest first until they are put in order
    std::size_t filledCount_ = 0;
    std::size_t spilledSinceOrder_ = 0;
    Stack* spares_ = nullptr;  // stacks without
    std::vector<Block*> blocks_;
    // Blocks come from the heap several at a time; these are not in use yet.
    std::byte* spareBlocks_ = nullptr;
    std::size_t spareBlockCount_ = 0;
    std::vector<std::byte*> slabs_;  // what was taken from the heap
    std::int64_t retiredLive_ = 0;
};

}  // namespace ZKL::vTaskDetail
