#pragma once

// The heap under the benchmarks of documents. The first touch of a page costs more than parsing
// what goes into it, so memory that was freed stays with the process; and malloc itself is metered,
// since some of the contenders do not use operator new.

#include <cstddef>

namespace bench {

// From now on freed memory is kept for the next allocation.
void KeepFreedMemory();

// The most bytes held at once above those held at the start of `work`; 0 where malloc cannot be
// metered. Only this thread's use counts.
template <class Work>
std::size_t PeakBytesOf(Work work);

void _StartHeapMeter();
std::size_t _StopHeapMeter();

template <class Work>
std::size_t PeakBytesOf(Work work) {
    _StartHeapMeter();
    work();
    return _StopHeapMeter();
}

}  // namespace bench
