#include "tasks/vTaskRecordPool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "base/LargePages.h"
#include "base/LibraryEnd.h"
#include "base/ThreadSlot.h"
#include "tasks/AddressOrder.h"

namespace ZKL::vTaskDetail {
namespace {

// From so many stacks on (1.3 MB of records) the shared list no longer fits a core's cache, and the
// order of its records matters.
constexpr std::size_t kDeep = 256;

void Push(vTaskRecordPool::Stack*& list, vTaskRecordPool::Stack* stack) {
    stack->below = list;
    list = stack;
}

vTaskRecordPool::Stack* Pop(vTaskRecordPool::Stack*& list) {
    return list == nullptr ? nullptr : std::exchange(list, list->below);
}

// So that the next push_back cannot fail.
template <typename T>
void MakeRoomForOne(std::vector<T>& list) {
    if (list.size() == list.capacity()) {
        list.reserve(2 * list.size() + 16);
    }
}

// The magazines of one thread, in the list of all.
struct ThreadCache {
    vTaskRecordPool::Magazine magazines[vTaskRecordPool::eKindCount];
    ThreadCache* previous = nullptr;
    ThreadCache* next = nullptr;
};

// The pools and every thread's magazines. The unloading of the library frees it all, magazines of
// threads that live on included.
struct Records {
    constexpr Records() noexcept = default;
    ~Records();

    ThreadCache* AddThread();
    void RemoveThread(ThreadCache* cache) noexcept;
    void Retire(ThreadCache& cache) noexcept;
    std::int64_t CountLive(vTaskRecordPool::EKind kind);

    vTaskRecordPool nodes{vTaskRecordPool::eNodes};
    vTaskRecordPool jobs{vTaskRecordPool::eJobs};
    vTaskRecordPool lists{vTaskRecordPool::eLists};
    vSlimLock lock;  // taken before a pool's
    ThreadCache* threads = nullptr;
    std::unique_ptr<ThreadSlot> slot;
};

constinit UntilUnload<Records> g_records;

Records::~Records() {
    slot.reset();
    const std::lock_guard guard(lock);  // a thread of the host's may be on its way out
    for (ThreadCache* cache = threads; cache != nullptr; cache = cache->next) {
        Retire(*cache);
    }
    while (threads != nullptr) {
        delete std::exchange(threads, threads->next);
    }
    vTaskRecordPool::ForgetThread();
}

ThreadCache* Records::AddThread() {
    auto cache = std::make_unique<ThreadCache>();
    const std::lock_guard guard(lock);
    if (!slot) {
        slot = std::make_unique<ThreadSlot>(
            [](void* value) { g_records->RemoveThread(static_cast<ThreadCache*>(value)); });
    }
    try {
        nodes.Equip(cache->magazines[vTaskRecordPool::eNodes]);
        jobs.Equip(cache->magazines[vTaskRecordPool::eJobs]);
        lists.Equip(cache->magazines[vTaskRecordPool::eLists]);
        if (!slot->Set(cache.get())) {
            throw std::bad_alloc();
        }
    } catch (...) {
        Retire(*cache);
        throw;
    }
    cache->next = threads;
    if (threads != nullptr) {
        threads->previous = cache.get();
    }
    threads = cache.get();
    return cache.release();
}

void Records::Retire(ThreadCache& cache) noexcept {
    nodes.Retire(cache.magazines[vTaskRecordPool::eNodes]);
    jobs.Retire(cache.magazines[vTaskRecordPool::eJobs]);
    lists.Retire(cache.magazines[vTaskRecordPool::eLists]);
}

void Records::RemoveThread(ThreadCache* cache) noexcept {
    vTaskRecordPool::ForgetThread();
    const std::lock_guard guard(lock);
    Retire(*cache);
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
    while (Stack* const stack = Pop(filled_)) {
        delete stack;
    }
    while (Stack* const stack = Pop(spares_)) {
        delete stack;
    }
    for (std::byte* const slab : slabs_) {
        DefaultAllocator()->Free(slab);
    }
}

vTaskRecordPool& vTaskRecordPool::Nodes() noexcept {
    return g_records->nodes;
}

vTaskRecordPool& vTaskRecordPool::Jobs() noexcept {
    return g_records->jobs;
}

vTaskRecordPool& vTaskRecordPool::Lists() noexcept {
    return g_records->lists;
}

vTaskRecordCounts vTaskRecordPool::Count() const {
    const std::lock_guard threads(g_records->lock);
    const std::lock_guard guard(lock_);
    vTaskRecordCounts counts;
    counts.blocks = blocks_.size();
    for (const Block* const block : blocks_) {
        counts.handedOut += block->handedOut;
    }
    counts.live = retiredLive_ + g_records->CountLive(kind_);
    return counts;
}

void vTaskRecordPool::Equip(Magazine& magazine) {
    const std::lock_guard guard(lock_);
    magazine.top = TakeSpare();
    magazine.second = TakeSpare();
}

void vTaskRecordPool::Retire(Magazine& magazine) noexcept {
    const std::lock_guard guard(lock_);
    for (Stack* const stack : {magazine.second, magazine.top}) {  // the older records first
        if (stack != nullptr) {
            filledCount_ += stack->count == 0 ? 0 : 1;
            Push(stack->count == 0 ? spares_ : filled_, stack);
        }
    }
    retiredLive_ += magazine.live.load(std::memory_order_relaxed);
}

vTaskRecordPool::Magazine* vTaskRecordPool::EquipThread() {
    Magazine* const magazines = g_records->AddThread()->magazines;
    OwnMagazines::Set(magazines);
    return magazines;
}

// Puts at least one record into an empty magazine.
void vTaskRecordPool::Refill(Magazine& magazine) {
    if (magazine.second->count != 0) {
        std::swap(magazine.top, magazine.second);
        return;
    }
    const std::lock_guard guard(lock_);
    if (filledCount_ >= kDeep && spilledSinceOrder_ >= filledCount_ / 2) {
        OrderFilled();
    }
    if (Stack* const filled = Pop(filled_)) {
        --filledCount_;
        Push(spares_, std::exchange(magazine.top, filled));
    } else {
        magazine.top->records[0] = Carve();
        magazine.top->count = 1;
    }
}

// Makes room in a magazine whose top is full.
void vTaskRecordPool::Spill(Magazine& magazine) {
    if (magazine.second->count != 0) {
        const std::lock_guard guard(lock_);
        Stack* const empty = TakeSpare();
        Push(filled_, std::exchange(magazine.second, empty));
        ++filledCount_;
        ++spilledSinceOrder_;
    }
    std::swap(magazine.top, magazine.second);
}

// A graph of many nodes gives its records back in the order in which it was finished, and the next
// one would be built all over memory. So a deep list is put in order, once for every time that half
// of it was new, which costs a record some ten nanoseconds and saves several cache misses.
void vTaskRecordPool::OrderFilled() noexcept {
    spilledSinceOrder_ = 0;
    const std::size_t room = filledCount_ * kMagazineSize;
    const std::unique_ptr<void*[]> records(new (std::nothrow) void*[2 * room]);
    if (!records) {
        return;  // slower, not wrong
    }
    std::size_t count = 0;
    for (const Stack* stack = filled_; stack != nullptr; stack = stack->below) {
        std::copy_n(stack->records, stack->count, &records[count]);
        count += stack->count;
    }
    OrderByAddress(records.get(), &records[room], count);
    // The first stack is taken first and each from its end: the lowest addresses come first.
    for (Stack* stack = filled_; stack != nullptr; stack = stack->below) {
        count -= stack->count;
        std::copy_n(&records[count], stack->count, stack->records);
    }
}

vTaskRecordPool::Stack* vTaskRecordPool::TakeSpare() {
    Stack* const spare = Pop(spares_);
    return spare != nullptr ? spare : new Stack;
}

// The next record that was never in use, in a new block when the last one is exhausted.
void* vTaskRecordPool::Carve() {
    if (blocks_.empty() ||
        blocks_.back()->handedOut == sizeof(blocks_.back()->records) / RecordSize()) {
        MakeRoomForOne(blocks_);
        blocks_.push_back(TakeBlock());
    }
    Block& block = *blocks_.back();
    return &block.records[block.handedOut++ * RecordSize()];
}

// A new block, zero-filled. The heap gives as many at a time as there are already, up to a large
// page full: few blocks stay few, and many lie on few pages.
vTaskRecordPool::Block* vTaskRecordPool::TakeBlock() {
    if (spareBlockCount_ == 0) {
        MakeRoomForOne(slabs_);
        const std::size_t count = std::clamp<std::size_t>(blocks_.size(), 1, kBlocksPerLargePage);
        const bool large = count == kBlocksPerLargePage;
        void* const memory =
            DefaultAllocator()->Allocate(static_cast<std::uint32_t>(count * kBlockStride),
                                         large ? kLargePageSize : kTaskRecordAlignment);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        if (large) {
            PreferLargePages(memory, kLargePageSize);
        }
        spareBlocks_ = static_cast<std::byte*>(memory);
        spareBlockCount_ = count;
        slabs_.push_back(spareBlocks_);
    }
    --spareBlockCount_;
    std::byte* const block = std::exchange(spareBlocks_, spareBlocks_ + kBlockStride);
    return static_cast<Block*>(std::memset(block, 0, sizeof(Block)));
}

vTaskRecordCounts CountNodeRecords() {
    return vTaskRecordPool::Nodes().Count();
}

vTaskRecordCounts CountJobRecords() {
    return vTaskRecordPool::Jobs().Count();
}

vTaskRecordCounts CountListRecords() {
    return vTaskRecordPool::Lists().Count();
}

void* vTaskListHeap::Take(std::size_t size) {
    return size > vTaskRecordPool::kListRecordSize ? std::malloc(size)
                                                   : vTaskRecordPool::Lists().Take();
}

void vTaskListHeap::Give(void* array, std::size_t size) noexcept {
    if (size > vTaskRecordPool::kListRecordSize) {
        std::free(array);
    } else {
        vTaskRecordPool::Lists().Give(array);
    }
}

}  // namespace ZKL::vTaskDetail
