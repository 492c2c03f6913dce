#include "profiling/RecordMerge.h"

#include <algorithm>

namespace ZKL {
namespace {

// For a heap whose top is the earliest; at equal times the lower thread index comes first.
bool IsLater(ThreadRecords* left, ThreadRecords* right) noexcept {
    const vTraceRecord* a = left->Front();
    const vTraceRecord* b = right->Front();
    return a->timestamp != b->timestamp ? a->timestamp > b->timestamp : a->tid > b->tid;
}

}  // namespace

RecordMerge::RecordMerge(std::vector<ThreadRecords*> sources) noexcept
    : sources_(std::move(sources)) {
    std::erase_if(sources_, [](ThreadRecords* source) {
        source->BeginReading();
        return !source->Front();
    });
    std::ranges::make_heap(sources_, IsLater);
}

std::size_t RecordMerge::Read(std::span<vTraceRecord> out) noexcept {
    std::size_t count = 0;
    while (count < out.size() && !sources_.empty()) {
        std::ranges::pop_heap(sources_, IsLater);
        ThreadRecords* earliest = sources_.back();
        // Most records follow one of their own thread: stay there while nobody else is earlier.
        do {
            out[count++] = earliest->PopFront();
        } while (count < out.size() && earliest->Front() &&
                 (sources_.size() == 1 || !IsLater(earliest, sources_.front())));
        if (earliest->Front()) {
            std::ranges::push_heap(sources_, IsLater);
        } else {
            sources_.pop_back();
        }
    }
    return count;
}

}  // namespace ZKL
