#pragma once

// Lets the containers of the standard library (std::pmr) take their memory from an allocator.
//
// As safe between threads as the allocator. Containers over an arena must be gone, or emptied of
// memory, before the arena takes it back.

#include <cstddef>
#include <memory_resource>

#include "ZelREKernel/base/vAllocator.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vMemoryResource : public std::pmr::memory_resource {
public:
    // Borrows `allocator`, not null, which must outlive this object and all memory had from it.
    explicit vMemoryResource(vAllocator* allocator) noexcept : allocator_(allocator) {}
    ~vMemoryResource() override;
    vMemoryResource(const vMemoryResource&) noexcept = default;
    vMemoryResource& operator=(const vMemoryResource&) noexcept = default;

    // The allocator behind it, which stays borrowed.
    vAllocator* Allocator() const noexcept { return allocator_; }

private:
    // Throws std::bad_alloc where the allocator says null or does not keep to `alignment`, and for
    // 4 GiB or more, which it cannot be asked for. Above the heap's own alignment it is asked for
    // `alignment` bytes more, as arenas want it.
    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override;
    // Memory from one may go back through another over the same allocator.
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

    vAllocator* allocator_;
};

}  // namespace ZKL
