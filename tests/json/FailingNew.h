#pragma once

// Makes operator new and the aligned heap fail, and counts what operator new gave out. Replaced for
// the whole test program; on Windows the library has an operator new and a heap of its own, which
// this does not reach.

#include <cstddef>

namespace test {

// While it lives, the calling thread's allocations fail from number `after` on (0: the first).
class FailingNew {
public:
    explicit FailingNew(std::size_t after) noexcept;
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    static bool ReachesLibrary();
    // Ends it early.
    static void Stop() noexcept;
};

// Whether the calling thread's next allocation may succeed; counts it.
bool MayAllocate() noexcept;

// Blocks that the calling thread has allocated and not given back.
std::ptrdiff_t LiveBlocks() noexcept;

}  // namespace test
