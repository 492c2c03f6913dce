#pragma once

// Fixed-size records for task nodes and jobs: taken and given back last in, first out, in blocks of
// 16 that stay with the pool until the library is unloaded.
//
// Every thread keeps a few free records at hand (a magazine), so that the pool's mutex is needed
// once in kMagazineSize operations. The order on one thread is that of a single free list: a
// magazine holds the youngest records, and whole magazines go to the shared list and come back last
// in, first out.
//
// All operations may be called from any thread.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "ZelREKernel/tasks/vPooledTask.h"
#include "ZelREKernel/tasks/vTaskRecordCounts.h"

namespace ZKL::vTaskDetail {

class vTaskRecordPool {
public:
    static constexpr std::uint32_t kRecordsPerBlock = 16;
    static constexpr std::uint32_t kMagazineSize = 64;

    // A free record; `next` is the record that was given back before it.
    struct FreeRecord {
        FreeRecord* next;
        // In the youngest record of a chain on the shared list:
        FreeRecord* olderChain;
        std::uint64_t chainLength;
    };

    // What one thread has at hand. The thread alone changes it; others read `live`.
    struct Magazine {
        FreeRecord* top = nullptr;
        std::uint32_t count = 0;
        FreeRecord* full = nullptr;  // null, or kMagazineSize records older than those of `top`
        // Records taken less records given back by this thread.
        std::atomic<std::int64_t> live = 0;

        void Count(std::int64_t change) noexcept {
            // Relaxed and no read-modify-write: one writer, and the readers only add numbers up.
            live.store(live.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
        }
    };

    // Which of the two process-wide pools; also the index of its magazine.
    enum EKind : unsigned { eNodes, eJobs, eKindCount };

    explicit constexpr vTaskRecordPool(EKind kind) noexcept : kind_(kind) {}
    vTaskRecordPool(const vTaskRecordPool&) = delete;
    vTaskRecordPool& operator=(const vTaskRecordPool&) = delete;
    // Frees every block, whether or not its records are in use.
    ~vTaskRecordPool();

    static vTaskRecordPool& Nodes() noexcept;
    static vTaskRecordPool& Jobs() noexcept;

    // An uninitialised record. Throws std::bad_alloc, or std::system_error when the mutex fails.
    void* Take();
    // A failing mutex ends the process.
    void Give(void* record) noexcept;

    vTaskRecordCounts Count() const;
    // Takes the free records and the count of a thread that ends.
    void Retire(Magazine& magazine) noexcept;

private:
    struct Block {
        std::byte records[kRecordsPerBlock][kTaskRecordSize];
        std::uint64_t handedOut;
    };
    static_assert(sizeof(Block) == 1288);

    Magazine* Own() noexcept;
    void Refill(Magazine& magazine);
    void* TakeShared();
    void GiveShared(FreeRecord* record) noexcept;
    FreeRecord* PopChain() noexcept;
    void PushChain(FreeRecord* chain, std::uint32_t length) noexcept;
    FreeRecord* Carve();

    const EKind kind_;
    mutable std::mutex mutex_;
    FreeRecord* chains_ = nullptr;
    std::vector<Block*> blocks_;
    std::int64_t retiredLive_ = 0;
};

}  // namespace ZKL::vTaskDetail
