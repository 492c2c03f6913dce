#include "ZelREKernel/tasks/vParallelMemCpy.h"

#include <emmintrin.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <atomic>
#include <cstdint>

#include "ZelREKernel/tasks/vThreadPoolManager.h"

namespace ZKL::vTaskDetail {
namespace {

constexpr unsigned int kAnyPool = 0xFFFFFFFF;
constexpr std::size_t kCacheLine = 64;
// From here on source and destination together are more than processors' caches hold. Below it a
// copy through the cache is faster, and leaves the result there for whoever reads it next.
constexpr std::size_t kStreamBytes = std::size_t{16} << 20;

using Slice = tbb::blocked_range<std::size_t>;

// Copies past the cache: a store that takes its place in the cache has to fetch the line first,
// only to overwrite it, which makes three transfers of two.
void CopyStreaming(char* dst, const char* src, std::size_t n) noexcept {
    const std::size_t head = -reinterpret_cast<std::uintptr_t>(dst) % kCacheLine;
    std::memcpy(dst, src, head);
    char* const end = dst + n;
    dst += head;
    src += head;
    for (; end - dst >= static_cast<std::ptrdiff_t>(kCacheLine);
         dst += kCacheLine, src += kCacheLine) {
        const auto* const from = reinterpret_cast<const __m128i*>(src);
        auto* const to = reinterpret_cast<__m128i*>(dst);
        const __m128i a = _mm_loadu_si128(from);
        const __m128i b = _mm_loadu_si128(from + 1);
        const __m128i c = _mm_loadu_si128(from + 2);
        const __m128i d = _mm_loadu_si128(from + 3);
        _mm_stream_si128(to, a);
        _mm_stream_si128(to + 1, b);
        _mm_stream_si128(to + 2, c);
        _mm_stream_si128(to + 3, d);
    }
    // Such stores are not ordered with later ones; whoever is told that the copy is done must find
    // it there.
    _mm_sfence();
    std::memcpy(dst, src, static_cast<std::size_t>(end - dst));
}

void CopySlices(char* dst, const char* src, std::size_t n) {
    // oneTBB hands the slices over and takes them back in order. The thread sanitizer cannot see
    // that and would take every byte for a race, so the order is also written down here.
    std::atomic<unsigned> order{0};
    const auto copy = [=, &order](const Slice& slice) {
        static_cast<void>(order.load(std::memory_order_acquire));
        const std::size_t at = slice.begin();
        if (n < kStreamBytes) {
            std::memcpy(dst + at, src + at, slice.size());
        } else {
            CopyStreaming(dst + at, src + at, slice.size());
        }
        order.fetch_add(1, std::memory_order_release);
    };
    order.store(1, std::memory_order_release);
    // A context of its own: when the task that copies has been cancelled, the copy still is whole.
    tbb::task_group_context context(tbb::task_group_context::isolated);
    tbb::parallel_for(Slice(0, n, kParallelCopyBytes), copy, context);
    static_cast<void>(order.load(std::memory_order_acquire));
}

}  // namespace

void CopyInParallel(void* dst, const void* src, std::size_t n) noexcept {
    auto* const to = static_cast<char*>(dst);
    const auto* const from = static_cast<const char*>(src);
    try {
        // Isolated: while it waits for the last slice, the caller, who may hold a lock, is not to
        // be given somebody else's task.
        vThreadPoolManager::GetTBBThreadPool(kAnyPool).execute(
            [=] { tbb::this_task_arena::isolate([=] { CopySlices(to, from, n); }); });
    } catch (...) {  // no memory for tasks; then one core does it all
        std::memcpy(dst, src, n);
    }
}

}  // namespace ZKL::vTaskDetail
