#pragma once

// An allocator over the default one that remembers what it was asked for and counts its blocks.

#include <atomic>

#include "ZelREKernel/base/vMallocAllocator.h"

class RecordingAllocator : public ZKL::vAllocator {
public:
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override {
        lastSize = size;
        lastAlignment = alignment;
        if (fail) {
            return nullptr;
        }
        ++live;
        return ZKL::DefaultAllocator()->Allocate(shrink ? 1 : size, alignment);
    }
    void FreeImpl(void* p) override {
        live -= p ? 1 : 0;
        ZKL::DefaultAllocator()->Free(p);
    }

    std::atomic<std::uint32_t> lastSize = 0;
    std::atomic<std::uint32_t> lastAlignment = 0;
    std::atomic<int> live = 0;
    bool fail = false;
    bool shrink = false;  // blocks of one byte, whatever the size
};
