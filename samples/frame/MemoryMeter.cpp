#include "MemoryMeter.h"

#include <algorithm>
#include <limits>

#include "ZelREKernel/base/vMallocAllocator.h"

namespace frame {
namespace {

// Stands right before each block.
struct Header {
    std::uint32_t size;
    std::uint32_t offset;  // from the source's block to ours
};

}  // namespace

MemoryMeter& MemoryMeter::Instance() {
    static MemoryMeter meter(ZKL::DefaultAllocator());
    return meter;
}

void* MemoryMeter::AllocateImpl(unsigned int size, unsigned int alignment) {
    const unsigned offset = std::max<unsigned>(alignment, sizeof(Header) * 2);
    if (size > std::numeric_limits<unsigned>::max() - offset) {
        return nullptr;
    }
    char* const base = static_cast<char*>(source_->Allocate(size + offset, offset));
    if (base == nullptr) {
        return nullptr;
    }
    Header* const header = reinterpret_cast<Header*>(base + offset) - 1;
    *header = {size, offset};
    // Counters for people to read: no other memory hangs on their order.
    blocks_.fetch_add(1, std::memory_order_relaxed);
    const std::uint64_t live = live_.fetch_add(size, std::memory_order_relaxed) + size;
    std::uint64_t peak = peak_.load(std::memory_order_relaxed);
    while (live > peak && !peak_.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
    return base + offset;
}

void MemoryMeter::FreeImpl(void* block) {
    if (block == nullptr) {
        return;
    }
    const Header header = *(static_cast<Header*>(block) - 1);
    live_.fetch_sub(header.size, std::memory_order_relaxed);
    source_->Free(static_cast<char*>(block) - header.offset);
}

MemoryMeter::Reading MemoryMeter::Read() const {
    return {blocks_.load(std::memory_order_relaxed), live_.load(std::memory_order_relaxed),
            peak_.load(std::memory_order_relaxed)};
}

}  // namespace frame
