#include "core/LogFlusher.h"

#include <chrono>
#include <mutex>
#include <system_error>

#include "MekHost/MekStatus.h"
#include "base/LibraryEnd.h"

namespace ZKL {
namespace {

// So much text may wait for slow outputs; then the threads that log wait too.
constexpr std::size_t kMaxQueuedBytes = 64 * 1024 * 1024;
constexpr std::chrono::microseconds kRoomPoll(200);

}  // namespace

constinit vSlimLock LogFlusher::s_lock;
constinit std::atomic<LogFlusher*> LogFlusher::s_flusher{nullptr};
constinit LogFlusher* LogFlusher::s_parents = nullptr;

LogFlusher::LogFlusher()
    : MekThreads("Zelo:LogFlusher", nullptr, -1, 0, 0), wake_(CreateMekEvent(0)) {}

void LogFlusher::Start() {
    const std::lock_guard guard(s_lock);
    if (s_flusher.load(std::memory_order_relaxed)) {
        return;
    }
    std::unique_ptr<LogFlusher> flusher(new LogFlusher);
    if (flusher->MekThreads::Start(0) != kMekOk) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    s_flusher.store(flusher.release(), std::memory_order_relaxed);
}

void LogFlusher::Stop() {
    if (AreThreadsGone()) {
        WriteAtProcessEnd();
        return;
    }
    LogFlusher* flusher = nullptr;
    {
        const std::lock_guard guard(s_lock);
        flusher = s_flusher.load(std::memory_order_relaxed);
        if (!flusher) {
            return;
        }
        flusher->stop_ = true;
        flusher->wake_->Signal(0);
    }
    if (flusher->Join() != kMekOk) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    {
        const std::lock_guard guard(s_lock);
        s_flusher.store(nullptr, std::memory_order_relaxed);
    }
    delete flusher;
}

// The system has ended the thread wherever it was. If any thread held the lock then, the queues are
// in no known state and nobody will let go of it.
void LogFlusher::WriteAtProcessEnd() {
    const std::unique_lock lock(s_lock, std::try_to_lock);
    LogFlusher* const flusher = s_flusher.exchange(nullptr, std::memory_order_relaxed);
    if (lock && flusher) {
        flusher->batch_.WriteAll();
        flusher->queue_.WriteAll();
    }
}

void LogFlusher::LeaveToParent() noexcept {
    std::construct_at(&s_lock);  // one of the parent's threads may hold it
    if (LogFlusher* const flusher = s_flusher.exchange(nullptr, std::memory_order_relaxed)) {
        s_parents = flusher;
    }
}

bool LogFlusher::Queue(std::string_view text, vLoggerOutput& output) {
    // Relaxed: only a hint that spares the mutex; under the lock the pointer is read again.
    if (!s_flusher.load(std::memory_order_relaxed)) {
        return false;
    }
    std::unique_lock lock(s_lock);
    for (;;) {
        LogFlusher* const flusher = s_flusher.load(std::memory_order_relaxed);
        if (!flusher) {
            return false;
        }
        if (flusher->stop_) {
            return true;
        }
        // An output that logs on the flusher's own thread would wait for itself.
        if (flusher->queue_.GetBytes() < kMaxQueuedBytes ||
            flusher->id_ == std::this_thread::get_id()) {
            flusher->queue_.Append(text, output);
            const bool wake = flusher->waiting_;
            flusher->waiting_ = false;
            // Signalled under the lock, since Stop may free the flusher once it is released.
            if (wake) {
                flusher->wake_->Signal(0);
            }
            return true;
        }
        lock.unlock();
        std::this_thread::sleep_for(kRoomPoll);
        lock.lock();
    }
}

std::int32_t LogFlusher::Run() {
    std::unique_lock lock(s_lock);
    id_ = std::this_thread::get_id();
    for (;;) {
        while (queue_.IsEmpty()) {
            if (stop_) {
                return kMekOk;
            }
            waiting_ = true;
            wake_->Reset();
            lock.unlock();
            WaitForSingleEvent(wake_.get(), -1);
            lock.lock();
        }
        waiting_ = false;
        queue_.Swap(batch_);
        lock.unlock();
        batch_.WriteAll();
        lock.lock();
    }
}

}  // namespace ZKL
