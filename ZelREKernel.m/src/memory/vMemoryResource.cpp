#include "ZelREKernel/memory/vMemoryResource.h"

#include <limits>
#include <new>

namespace ZKL {

vMemoryResource::~vMemoryResource() = default;

void* vMemoryResource::do_allocate(std::size_t bytes, std::size_t alignment) {
    constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
    void* const p = bytes <= kMost && alignment <= kMost
                        ? allocator_->Allocate(static_cast<std::uint32_t>(bytes),
                                               static_cast<std::uint32_t>(alignment))
                        : nullptr;
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void vMemoryResource::do_deallocate(void* p, std::size_t, std::size_t) {
    allocator_->Free(p);
}

bool vMemoryResource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
    const auto* const ours = dynamic_cast<const vMemoryResource*>(&other);
    return ours != nullptr && ours->allocator_ == allocator_;
}

}  // namespace ZKL
