#pragma once

// What the profiler keeps at hand of the calling thread; of trivial type, so that it pins nothing
// (see base/ThreadSlot.h), and read on every event, hence the fastest access there is.

#include <cstdint>

namespace ZKL {

class ThreadRecords;

struct CurrentThread {
    // Null until the thread's first event.
    [[gnu::tls_model("initial-exec")]] static thread_local constinit ThreadRecords* records;
    // The index plus one: 0 is none yet.
    static thread_local constinit std::uint32_t indexPlusOne;
};

}  // namespace ZKL
