#pragma once

// A vector of the standard library whose memory comes from the kernel's allocators.

#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "MemoryMeter.h"
#include "ZelREKernel/base/vAllocator.h"

namespace frame {

template <typename T>
class KernelAllocator {
public:
    using value_type = T;

    KernelAllocator() : source_(&MemoryMeter::Instance()) {}
    explicit KernelAllocator(ZKL::vAllocator* source) : source_(source) {}
    template <typename U>
    KernelAllocator(const KernelAllocator<U>& other) : source_(other.Source()) {}

    // Throws std::bad_alloc; the kernel's own interface says null.
    T* allocate(std::size_t count) {
        // One block of the kernel is below 4 GiB.
        if (count > std::numeric_limits<std::uint32_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        void* block = source_->Allocate(static_cast<unsigned>(count * sizeof(T)), alignof(T));
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(block);
    }
    void deallocate(T* block, std::size_t) noexcept { source_->Free(block); }

    ZKL::vAllocator* Source() const { return source_; }
    template <typename U>
    bool operator==(const KernelAllocator<U>& other) const {
        return source_ == other.Source();
    }

private:
    ZKL::vAllocator* source_;
};

template <typename T>
using Vector = std::vector<T, KernelAllocator<T>>;

}  // namespace frame
