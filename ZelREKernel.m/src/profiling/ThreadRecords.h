#pragma once

// The records of one thread: a list of chunks that the thread fills at one end and the flusher
// empties at the other. When the thread ends, another one goes on filling it.
//
// Each function says whether it is the recording thread's or the flusher's; the two may run at the
// same time, and neither waits for the other.

#include <atomic>
#include <cstdint>

#include "ZelREKernel/base/vAllocator.h"
#include "ZelREKernel/profiling/vTraceRecord.h"
#include "profiling/TraceTime.h"

namespace ZKL {

struct RecordChunk {
    static constexpr std::uint32_t kCapacity = 128;

    vTraceRecord records[kCapacity];
    std::atomic<std::uint32_t> count{0};
    std::atomic<RecordChunk*> next{nullptr};
    // In a stack of spare chunks; written by the flusher only.
    RecordChunk* below = nullptr;
    std::uint32_t height = 0;
};

class ThreadRecords {
public:
    // Emptied chunks that wait for the thread; the flusher gives more than these back to the heap.
    static constexpr std::uint32_t kMaxSpares = 512;

    // All memory comes from `allocator`. `origin`, the trace's time 0, is in nanoseconds on the
    // steady clock. Null when there is no memory. Delete returns it and all its records to the
    // heap.
    static ThreadRecords* Create(vAllocator& allocator, std::int64_t origin) noexcept;
    static void Delete(ThreadRecords* records) noexcept;
    ThreadRecords(const ThreadRecords&) = delete;
    ThreadRecords& operator=(const ThreadRecords&) = delete;

    // The recording thread's
    // -------------------------------------------------------------------------

    // The slot of the next record, shown to the flusher by Publish. Null when there is no memory.
    vTraceRecord* Claim() noexcept {
        if (used_ >= optionalLimit_ && !_Refill()) [[unlikely]] {
            return nullptr;
        }
        return &tail_->records[used_];
    }
    // A slot for the end of an open scope: the memory for these is set aside when scopes begin.
    vTraceRecord& ClaimEnd() noexcept {
        if (used_ == RecordChunk::kCapacity && !_Refill()) [[unlikely]] {
            _NextChunk();
        }
        openScopes_ -= openScopes_ != 0 ? 1 : 0;
        return tail_->records[used_];
    }
    void Publish() noexcept {
        // Release: the flusher that sees the count sees the record.
        tail_->count.store(++used_, std::memory_order_release);
    }
    void CountOpenScope() noexcept { ++openScopes_; }
    // A thread begins to record here.
    void Adopt(std::uint32_t threadIndex) noexcept {
        tid_ = threadIndex;
        openScopes_ = 0;
    }

    std::uint32_t GetThreadIndex() const noexcept { return tid_; }

    // The flusher's
    // ----------------------------------------------------------------------------------

    // Fixes the end of what Front and PopFront go through to what is published by now.
    void BeginReading() noexcept;
    // The oldest record, null at the end that BeginReading fixed.
    const vTraceRecord* Front() noexcept;
    // Takes the record that Front shows out, with its time in the microseconds of the trace.
    vTraceRecord PopFront() noexcept {
        vTraceRecord record = head_->records[headIndex_++];
        record.timestamp = time_.Convert(record);
        return record;
    }

    // Guarded by the registry's lock.
    ThreadRecords* nextInRegistry = nullptr;
    bool hasOwner = false;

private:
    ThreadRecords(vAllocator& allocator, std::int64_t origin) noexcept
        : allocator_(allocator), time_(origin) {}

    bool _Refill() noexcept;
    RecordChunk* _TakeChunk() noexcept;
    void _NextChunk() noexcept;
    void _Recycle(RecordChunk* chunk) noexcept;

    RecordChunk* _NewChunk() noexcept;

    vAllocator& allocator_;

    // The recording thread's.
    RecordChunk* tail_ = nullptr;
    std::uint32_t used_ = 0;
    // Of the tail's slots, those that anything but an end may use: none while memory is short.
    std::uint32_t optionalLimit_ = 0;
    std::uint32_t openScopes_ = 0;
    std::uint32_t tid_ = 0;
    // Chunks in hand, linked through `next`: they hold the ends of all open scopes if need be.
    RecordChunk* reserve_ = nullptr;
    std::uint32_t reserveCount_ = 0;
    RecordChunk* ownSpares_ = nullptr;

    // Between the two: chunks that the flusher emptied.
    alignas(64) std::atomic<RecordChunk*> spares_{nullptr};

    // The flusher's.
    RecordChunk* head_ = nullptr;
    std::uint32_t headIndex_ = 0;
    const RecordChunk* endChunk_ = nullptr;
    std::uint32_t endIndex_ = 0;
    TraceTime time_;
};

}  // namespace ZKL
