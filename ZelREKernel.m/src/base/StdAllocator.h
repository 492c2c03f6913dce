#pragma once

// The default allocator in the form that containers of the standard library take.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "ZelREKernel/base/vMallocAllocator.h"

namespace ZKL {

template <typename T>
struct StdAllocator {
    using value_type = T;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
    static constexpr std::size_t kSize = sizeof(T);

    constexpr StdAllocator() noexcept = default;
    template <typename U>
    constexpr StdAllocator(const StdAllocator<U>&) noexcept {}

    // Throws std::bad_alloc; so for 4 GiB and more, which one block cannot have.
    T* allocate(std::size_t count) {
        void* block = nullptr;
        if (count <= std::numeric_limits<std::uint32_t>::max() / kSize) {
            block =
                DefaultAllocator()->Allocate(static_cast<std::uint32_t>(count * kSize), alignof(T));
        }
        if (!block) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(block);
    }
    void deallocate(T* block, std::size_t) noexcept { DefaultAllocator()->Free(block); }

    template <typename U>
    bool operator==(const StdAllocator<U>&) const noexcept {
        return true;
    }
};

}  // namespace ZKL
