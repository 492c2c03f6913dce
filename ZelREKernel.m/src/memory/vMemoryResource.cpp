#include "ZelREKernel/memory/vMemoryResource.h"

#include <cstdint>
#include <limits>
#include <new>

namespace ZKL {
namespace {

// What the blocks of every arena are aligned to. A larger alignment may cost room at the beginning
// of a block, which arenas leave to the caller to ask for; a container knows nothing of that.
constexpr std::size_t kBlockAlignment = alignof(std::max_align_t);

}  // namespace

vMemoryResource::~vMemoryResource() = default;

void* vMemoryResource::do_allocate(std::size_t bytes, std::size_t alignment) {
    constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
    const std::size_t slack = alignment > kBlockAlignment ? alignment : 0;
    if (slack > kMost || bytes > kMost - slack) {
        throw std::bad_alloc();
    }
    void* const p = allocator_->Allocate(static_cast<std::uint32_t>(bytes + slack),
                                         static_cast<std::uint32_t>(alignment));
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    if (reinterpret_cast<std::uintptr_t>(p) % alignment != 0) {
        allocator_->Free(p);
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
