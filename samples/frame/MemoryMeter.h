#pragma once

// An allocator that forwards to another one and counts what is asked of it: the way to see what a
// part of a program takes. All functions may be called from any thread.

#include <atomic>
#include <cstdint>

#include "ZelREKernel/base/vAllocator.h"

namespace frame {

class MemoryMeter : public ZKL::vAllocator {
public:
    struct Reading {
        std::uint64_t blocks = 0;     // handed out so far
        std::uint64_t liveBytes = 0;  // in use now
        std::uint64_t peakBytes = 0;  // the most ever in use
    };

    // The meter of this program, in front of the default allocator.
    static MemoryMeter& Instance();

    explicit MemoryMeter(ZKL::vAllocator* source) : source_(source) {}

    void* AllocateImpl(unsigned int size, unsigned int alignment) override;
    void FreeImpl(void* block) override;

    Reading Read() const;

private:
    ZKL::vAllocator* source_;
    std::atomic<std::uint64_t> blocks_{0};
    std::atomic<std::uint64_t> live_{0};
    std::atomic<std::uint64_t> peak_{0};
};

}  // namespace frame
