#pragma once

// A slot of the system's thread-local storage, of static storage duration: ready before any
// constructor runs, taken when the first value is stored, given back with the library.
//
// Get and Set concern the calling thread only.

#include <atomic>
#include <cstdint>

namespace ZKL {

class ThreadIndex {
public:
    constexpr ThreadIndex() noexcept = default;
    ~ThreadIndex();
    ThreadIndex(const ThreadIndex&) = delete;
    ThreadIndex& operator=(const ThreadIndex&) = delete;

    // Null before the first Set, and after the destructor.
    void* Get() const noexcept {
        // Relaxed: a thread that finds no index has stored nothing, whatever others do.
        const std::uint32_t index = index_.load(std::memory_order_relaxed);
        return index < kInline ? ReadInline(index) : GetFar(index);
    }
    // Ends the process when the system has no slot left. Does nothing after the destructor.
    void Set(void* value) noexcept;

private:
    // As many slots stand in the thread's own record, the TEB, which register GS points to.
    static constexpr std::uint32_t kInline = 64;
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    static constexpr std::uint32_t kGone = 0xFFFFFFFE;

    static void* ReadInline(std::uint64_t index) noexcept {
        void* value;
        asm volatile("movq %%gs:0x1480(,%1,8), %0" : "=r"(value) : "r"(index));
        return value;
    }
    static void* GetFar(std::uint32_t index) noexcept;
    std::uint32_t Acquire() noexcept;

    std::atomic<std::uint32_t> index_ = kNone;
};

}  // namespace ZKL
