#include "core/LogFlusher.h"

#include <chrono>
#include <memory>

namespace ZKL {
namespace {

// So much text may wait for slow outputs; then the threads that log wait too.
constexpr std::size_t kMaxQueuedBytes = 64 * 1024 * 1024;
constexpr std::chrono::microseconds kRoomPoll(200);

}  // namespace

constinit std::mutex LogFlusher::s_mutex;
constinit std::atomic<LogFlusher*> LogFlusher::s_flusher{nullptr};

void LogFlusher::Start() {
    const std::lock_guard guard(s_mutex);
    if (s_flusher.load(std::memory_order_relaxed)) {
        return;
    }
    auto flusher = std::make_unique<LogFlusher>();
    flusher->thread_ = std::thread(&LogFlusher::Run, flusher.get());
    s_flusher.store(flusher.release(), std::memory_order_relaxed);
}

void LogFlusher::Stop() {
    std::unique_lock lock(s_mutex);
    LogFlusher* const flusher = s_flusher.load(std::memory_order_relaxed);
    if (!flusher) {
        return;
    }
    flusher->stop_ = true;
    lock.unlock();
    flusher->wake_.notify_all();
    flusher->thread_.join();
    lock.lock();
    s_flusher.store(nullptr, std::memory_order_relaxed);
    lock.unlock();
    delete flusher;
}

bool LogFlusher::Queue(std::string_view text, vLoggerOutput& output) {
    // Relaxed: only a hint that spares the mutex; under the mutex the pointer is read again.
    if (!s_flusher.load(std::memory_order_relaxed)) {
        return false;
    }
    std::unique_lock lock(s_mutex);
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
            flusher->thread_.get_id() == std::this_thread::get_id()) {
            flusher->queue_.Append(text, output);
            const bool wake = flusher->waiting_;
            flusher->waiting_ = false;
            // Signalled under the mutex, since Stop may free the flusher once it is released.
            if (wake) {
                flusher->wake_.notify_one();
            }
            return true;
        }
        lock.unlock();
        std::this_thread::sleep_for(kRoomPoll);
        lock.lock();
    }
}

void LogFlusher::Run() {
    LogQueue batch;
    std::unique_lock lock(s_mutex);
    for (;;) {
        while (queue_.IsEmpty()) {
            if (stop_) {
                return;
            }
            waiting_ = true;
            wake_.wait(lock);
        }
        waiting_ = false;
        queue_.Swap(batch);
        lock.unlock();
        batch.WriteAll();
        lock.lock();
    }
}

}  // namespace ZKL
