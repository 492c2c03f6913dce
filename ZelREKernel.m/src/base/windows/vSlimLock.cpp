#include "ZelREKernel/base/vSlimLock.h"

#include <windows.h>

namespace ZKL {
namespace {

// A lock of zeros is SRWLOCK_INIT: the lock's own word is the system's lock.
static_assert(sizeof(SRWLOCK) == sizeof(vSlimLock) && alignof(SRWLOCK) <= alignof(vSlimLock));

SRWLOCK* Native(std::uint32_t* word) noexcept {
    return reinterpret_cast<SRWLOCK*>(word);
}

}  // namespace

void vSlimLock::lock() noexcept {
    AcquireSRWLockExclusive(Native(word_));
}

bool vSlimLock::try_lock() noexcept {
    return TryAcquireSRWLockExclusive(Native(word_)) != 0;
}

void vSlimLock::unlock() noexcept {
    ReleaseSRWLockExclusive(Native(word_));
}

}  // namespace ZKL
