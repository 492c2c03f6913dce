#include "tasks/vTaskRecordPool.h"

#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "base/ThreadSlot.h"

namespace ZKL::vTaskDetail {
namespace {

// The magazines of one thread, in the list of all.
struct ThreadCache {
    vTaskRecordPool::Magazine magazines[vTaskRecordPool::eKindCount];
    ThreadCache* previous = nullptr;
    ThreadCache* next = nullptr;
};

// The hottest pointer of this library: a task node and its job pass here four times.
__attribute__((tls_model("initial-exec"))) constinit thread_local ThreadCache* t_cache = nullptr;

// The two pools and every thread's magazines. Ready before any constructor runs; the end of the
// library frees it all, magazines of threads that live on included.
struct Records {
    constexpr Records() noexcept = default;
    ~Records();

    ThreadCache* AddThread();
    void RemoveThread(ThreadCache* cache) noexcept;
    std::int64_t CountLive(vTaskRecordPool::EKind kind);

    vTaskRecordPool nodes{vTaskRecordPool::eNodes};
    vTaskRecordPool jobs{vTaskRecordPool::eJobs};
    std::mutex mutex;  // taken before a pool's
    ThreadCache* threads = nullptr;
    std::unique_ptr<ThreadSlot> slot;
};

constinit Records g_records;

Records::~Records() {
    slot.reset();
    while (threads != nullptr) {
        delete std::exchange(threads, threads->next);
    }
    t_cache = nullptr;
}

ThreadCache* Records::AddThread() {
    auto cache = std::make_unique<ThreadCache>();
    const std::lock_guard guard(mutex);
    if (!slot) {
        slot = std::make_unique<ThreadSlot>(
            [](void* value) { g_records.RemoveThread(static_cast<ThreadCache*>(value)); });
    }
    if (!slot->Set(cache.get())) {
        throw std::bad_alloc();
    }
    cache->next = threads;
    if (threads != nullptr) {
        threads->previous = cache.get();
    }
    threads = cache.get();
    return cache.release();
}

void Records::RemoveThread(ThreadCache* cache) noexcept {
    t_cache = nullptr;
    const std::lock_guard guard(mutex);
    nodes.Retire(cache->magazines[vTaskRecordPool::eNodes]);
    jobs.Retire(cache->magazines[vTaskRecordPool::eJobs]);
    (cache->previous != nullptr ? cache->previous->next : threads) = cache->next;
    if (cache->next != nullptr) {
        cache->next->previous = cache->previous;
    }
    delete cache;
}

std::int64_t Records::CountLive(vTaskRecordPool::EKind kind) {
    std::int64_t live = 0;
    for (const ThreadCache* cache = threads; cache != nullptr; cache = cache->next) {
        live += cache->magazines[kind].live.load(std::memory_order_relaxed);
    }
    return live;
}

}  // namespace

vTaskRecordPool::~vTaskRecordPool() {
    for (Block* const block : blocks_) {
        DefaultAllocator()->Free(block);
    }
}

vTaskRecordPool& vTaskRecordPool::Nodes() noexcept {
    return g_records.nodes;
}

vTaskRecordPool& vTaskRecordPool::Jobs() noexcept {
    return g_records.jobs;
}

void* vTaskRecordPool::Take() {
    Magazine* const magazine = Own();
    if (magazine == nullptr) [[unlikely]] {
        return TakeShared();
    }
    if (magazine->top == nullptr) [[unlikely]] {
        Refill(*magazine);
    }
    FreeRecord* const record = magazine->top;
    magazine->top = record->next;
    --magazine->count;
    magazine->Count(+1);
    // The next record is taken soon, and its first line is still where its last user was.
    __builtin_prefetch(record->next, 1);
    return record;
}

void vTaskRecordPool::Give(void* record) noexcept {
    auto* const added = static_cast<FreeRecord*>(record);
    Magazine* const magazine = Own();
    if (magazine == nullptr) [[unlikely]] {
        return GiveShared(added);
    }
    if (magazine->count == kMagazineSize) [[unlikely]] {
        if (magazine->full != nullptr) {
            const std::lock_guard guard(mutex_);
            PushChain(magazine->full, kMagazineSize);
        }
        magazine->full = std::exchange(magazine->top, nullptr);
        magazine->count = 0;
    }
    added->next = magazine->top;
    magazine->top = added;
    ++magazine->count;
    magazine->Count(-1);
}

vTaskRecordCounts vTaskRecordPool::Count() const {
    const std::lock_guard threads(g_records.mutex);
    const std::lock_guard guard(mutex_);
    vTaskRecordCounts counts;
    counts.blocks = blocks_.size();
    for (const Block* const block : blocks_) {
        counts.handedOut += block->handedOut;
    }
    counts.live = retiredLive_ + g_records.CountLive(kind_);
    return counts;
}

void vTaskRecordPool::Retire(Magazine& magazine) noexcept {
    const std::lock_guard guard(mutex_);
    if (magazine.full != nullptr) {
        PushChain(magazine.full, kMagazineSize);
    }
    if (magazine.top != nullptr) {
        PushChain(magazine.top, magazine.count);
    }
    retiredLive_ += magazine.live.load(std::memory_order_relaxed);
}

// The calling thread's magazine, null when there is no memory for one.
vTaskRecordPool::Magazine* vTaskRecordPool::Own() noexcept {
    if (t_cache == nullptr) [[unlikely]] {
        try {
            t_cache = g_records.AddThread();
        } catch (...) {
            return nullptr;
        }
    }
    return &t_cache->magazines[kind_];
}

// Puts at least one record into an empty magazine.
void vTaskRecordPool::Refill(Magazine& magazine) {
    if (magazine.full != nullptr) {
        magazine.top = std::exchange(magazine.full, nullptr);
        magazine.count = kMagazineSize;
        return;
    }
    const std::lock_guard guard(mutex_);
    if (FreeRecord* const chain = PopChain()) {
        magazine.top = chain;
        magazine.count = static_cast<std::uint32_t>(chain->chainLength);
    } else {
        magazine.top = Carve();
        magazine.count = 1;
    }
}

void* vTaskRecordPool::TakeShared() {
    const std::lock_guard guard(mutex_);
    FreeRecord* const record = chains_ != nullptr ? PopChain() : Carve();
    if (record->next != nullptr) {
        PushChain(record->next, static_cast<std::uint32_t>(record->chainLength) - 1);
    }
    ++retiredLive_;
    return record;
}

void vTaskRecordPool::GiveShared(FreeRecord* record) noexcept {
    const std::lock_guard guard(mutex_);
    record->next = nullptr;
    PushChain(record, 1);
    --retiredLive_;
}

vTaskRecordPool::FreeRecord* vTaskRecordPool::PopChain() noexcept {
    return chains_ == nullptr ? nullptr : std::exchange(chains_, chains_->olderChain);
}

void vTaskRecordPool::PushChain(FreeRecord* chain, std::uint32_t length) noexcept {
    chain->olderChain = chains_;
    chain->chainLength = length;
    chains_ = chain;
}

// The next record that was never in use, in a new block when the last one is exhausted.
vTaskRecordPool::FreeRecord* vTaskRecordPool::Carve() {
    if (blocks_.empty() || blocks_.back()->handedOut == kRecordsPerBlock) {
        blocks_.reserve(blocks_.size() + 1 > blocks_.capacity() ? 2 * blocks_.size() + 16
                                                                : blocks_.size() + 1);
        void* const memory = DefaultAllocator()->Allocate(sizeof(Block), kTaskRecordAlignment);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        std::memset(memory, 0, sizeof(Block));
        blocks_.push_back(static_cast<Block*>(memory));
    }
    Block& block = *blocks_.back();
    auto* const record = reinterpret_cast<FreeRecord*>(block.records[block.handedOut++]);
    record->next = nullptr;
    return record;
}

vTaskRecordCounts CountNodeRecords() {
    return vTaskRecordPool::Nodes().Count();
}

vTaskRecordCounts CountJobRecords() {
    return vTaskRecordPool::Jobs().Count();
}

}  // namespace ZKL::vTaskDetail
