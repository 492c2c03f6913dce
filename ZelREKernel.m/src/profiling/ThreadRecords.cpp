#include "profiling/ThreadRecords.h"

#include <new>

namespace ZKL {
namespace {

constexpr std::uint32_t kLine = 64;

template <typename Next>
void FreeChain(vAllocator& allocator, RecordChunk* chunk, Next next) noexcept {
    while (chunk) {
        RecordChunk* following = next(*chunk);
        allocator.Free(chunk);
        chunk = following;
    }
}

}  // namespace

RecordChunk* ThreadRecords::_NewChunk() noexcept {
    void* memory = allocator_.Allocate(sizeof(RecordChunk), kLine);
    return memory ? ::new (memory) RecordChunk : nullptr;
}

ThreadRecords* ThreadRecords::Create(vAllocator& allocator, std::int64_t origin) noexcept {
    void* memory = allocator.Allocate(sizeof(ThreadRecords), alignof(ThreadRecords));
    if (!memory) {
        return nullptr;
    }
    auto* records = ::new (memory) ThreadRecords(allocator, origin);
    records->tail_ = records->head_ = records->_NewChunk();
    if (!records->tail_) {
        Delete(records);
        return nullptr;
    }
    return records;
}

void ThreadRecords::Delete(ThreadRecords* records) noexcept {
    vAllocator& allocator = records->allocator_;
    const auto next = [](RecordChunk& c) { return c.next.load(std::memory_order_relaxed); };
    const auto below = [](RecordChunk& c) { return c.below; };
    FreeChain(allocator, records->head_, next);
    FreeChain(allocator, records->reserve_, next);
    FreeChain(allocator, records->ownSpares_, below);
    FreeChain(allocator, records->spares_.load(std::memory_order_acquire), below);
    allocator.Free(records);
}

// A chunk is only begun with enough in hand for the ends of all scopes open after it, were it
// filled with beginnings alone. When that much is not to be had, only ends are recorded until it
// is.
bool ThreadRecords::_Refill() noexcept {
    const std::uint32_t needed = openScopes_ / RecordChunk::kCapacity + 3;
    while (reserveCount_ < needed) {
        RecordChunk* chunk = _TakeChunk();
        if (!chunk) {
            optionalLimit_ = 0;
            return false;
        }
        chunk->next.store(reserve_, std::memory_order_relaxed);
        reserve_ = chunk;
        ++reserveCount_;
    }
    optionalLimit_ = RecordChunk::kCapacity;
    if (used_ == RecordChunk::kCapacity) {
        _NextChunk();
    }
    return true;
}

RecordChunk* ThreadRecords::_TakeChunk() noexcept {
    if (!ownSpares_) {
        // Acquire: the flusher is through with what it put there.
        ownSpares_ = spares_.exchange(nullptr, std::memory_order_acquire);
    }
    RecordChunk* chunk = ownSpares_;
    if (!chunk) {
        return _NewChunk();
    }
    ownSpares_ = chunk->below;
    return chunk;
}

void ThreadRecords::_NextChunk() noexcept {
    RecordChunk* chunk = reserve_;
    reserve_ = chunk->next.load(std::memory_order_relaxed);
    --reserveCount_;
    chunk->next.store(nullptr, std::memory_order_relaxed);
    chunk->count.store(0, std::memory_order_relaxed);
    // Release: the flusher that follows the link sees an empty chunk.
    tail_->next.store(chunk, std::memory_order_release);
    tail_ = chunk;
    used_ = 0;
}

void ThreadRecords::BeginReading() noexcept {
    RecordChunk* chunk = head_;
    while (RecordChunk* next = chunk->next.load(std::memory_order_acquire)) {
        chunk = next;
    }
    endChunk_ = chunk;
    endIndex_ = chunk->count.load(std::memory_order_acquire);
}

const vTraceRecord* ThreadRecords::Front() noexcept {
    if (head_ != endChunk_ && headIndex_ == RecordChunk::kCapacity) {
        RecordChunk* emptied = head_;
        head_ = emptied->next.load(std::memory_order_acquire);
        headIndex_ = 0;
        _Recycle(emptied);
    }
    if (head_ == endChunk_ && headIndex_ == endIndex_) {
        return nullptr;
    }
    return &head_->records[headIndex_];
}

void ThreadRecords::_Recycle(RecordChunk* chunk) noexcept {
    RecordChunk* top = spares_.load(std::memory_order_relaxed);
    do {
        // The thread may take the stack meanwhile, but it never writes these two fields.
        chunk->below = top;
        chunk->height = top ? top->height + 1 : 1;
        if (chunk->height > kMaxSpares) {
            allocator_.Free(chunk);
            return;
        }
        // Release pairs with the acquire of the exchange in _TakeChunk.
    } while (!spares_.compare_exchange_weak(top, chunk, std::memory_order_release,
                                            std::memory_order_relaxed));
}

}  // namespace ZKL
