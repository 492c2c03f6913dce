#include "MekHost/system/MekMutex.h"

#include <atomic>
#include <mutex>

#include "MekHost/assertion/MekCheck.h"
#include "common/NativeThread.h"

struct MekMutex::Native {
    // Relaxed throughout: a thread looks only for its own mark, which no other thread stores.
    bool IsMine() const { return owner.load(std::memory_order_relaxed) == mek::ThisThread(); }
    void Enter() {
        owner.store(mek::ThisThread(), std::memory_order_relaxed);
        depth = 1;
    }

    std::mutex mutex;
    std::atomic<const void*> owner{nullptr};
    unsigned depth = 0;  // how often the owner took the lock; the owner's to change
};

MekMutex::MekMutex() : native_(new Native) {}

MekMutex::~MekMutex() {
    if (native_->owner.load(std::memory_order_relaxed)) {
        CheckFailure__("a MekMutex is destroyed while it is held", __FILE__, __LINE__);
    }
    delete native_;
}

void MekMutex::lock() {
    if (native_->IsMine()) {
        ++native_->depth;
        return;
    }
    native_->mutex.lock();
    native_->Enter();
}

bool MekMutex::try_lock() {
    if (native_->IsMine()) {
        ++native_->depth;
        return true;
    }
    if (!native_->mutex.try_lock()) {
        return false;
    }
    native_->Enter();
    return true;
}

void MekMutex::unlock() {
    if (!native_->IsMine()) {
        CheckFailure__("a MekMutex is unlocked by a thread that does not hold it", __FILE__,
                       __LINE__);
        return;
    }
    if (--native_->depth == 0) {
        native_->owner.store(nullptr, std::memory_order_relaxed);
        native_->mutex.unlock();
    }
}
