#include "base/windows/ThreadIndex.h"

#include <windows.h>
#include <winternl.h>

#include <cstddef>
#include <exception>

namespace ZKL {

static_assert(offsetof(TEB, TlsSlots) == 0x1480, "what ReadInline reads");

ThreadIndex::~ThreadIndex() {
    const std::uint32_t index = index_.exchange(kGone, std::memory_order_relaxed);
    if (index < kGone) {
        TlsFree(index);
    }
}

void ThreadIndex::Set(void* value) noexcept {
    std::uint32_t index = index_.load(std::memory_order_relaxed);
    if (index == kGone || (index == kNone && value == nullptr)) {
        return;
    }
    if (index == kNone) {
        index = Acquire();
    }
    if (TlsSetValue(index, value) == 0) {
        std::terminate();
    }
}

void* ThreadIndex::GetFar(std::uint32_t index) noexcept {
    return index < kGone ? TlsGetValue(index) : nullptr;
}

// Of threads that come first together one has its slot taken, the others give theirs back.
std::uint32_t ThreadIndex::Acquire() noexcept {
    const DWORD mine = TlsAlloc();
    if (mine == TLS_OUT_OF_INDEXES) {
        std::terminate();
    }
    std::uint32_t index = kNone;
    if (index_.compare_exchange_strong(index, mine, std::memory_order_relaxed)) {
        return mine;
    }
    TlsFree(mine);
    return index;
}

}  // namespace ZKL
