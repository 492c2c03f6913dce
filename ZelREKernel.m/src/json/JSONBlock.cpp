#include "json/JSONBlock.h"

#include <algorithm>
#include <limits>
#include <new>

#include "ZelREKernel/base/vMallocAllocator.h"

namespace ZelJSON {
namespace {

// Keeps a block alive while it is being filled, whatever is given back meanwhile.
constexpr std::uint32_t kOpen = 1u << 31;
constexpr std::size_t kSmallest = 1024;

}  // namespace

void* Allocate(std::size_t size) {
    void* const p = size <= std::numeric_limits<std::uint32_t>::max()
                        ? ZKL::DefaultAllocator()->Allocate(static_cast<std::uint32_t>(size), 16)
                        : nullptr;
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void Free(void* p) noexcept {
    ZKL::DefaultAllocator()->Free(p);
}

void Block::Release(std::uint32_t count) noexcept {
    // Release orders the last uses of the piece before the free, acquire takes in everybody's.
    if (live.fetch_sub(count, std::memory_order_acq_rel) == count) {
        Free(this);
    }
}

BlockWriter::BlockWriter(std::size_t expected) noexcept
    : next_(std::clamp(expected, kSmallest, Block::kLargest)) {}

void BlockWriter::Open(std::size_t size) {
    Close();
    const std::size_t wanted = std::max(next_, std::min(size + sizeof(Block) + 8, Block::kLargest));
    block_ = ::new (Allocate(wanted)) Block{kOpen};
    next_ = std::min(next_ * 2, Block::kLargest);
    cursor_ = reinterpret_cast<char*>(block_ + 1);
    end_ = reinterpret_cast<char*>(block_) + wanted;
}

void BlockWriter::Close() noexcept {
    if (block_ != nullptr) {
        block_->Release(kOpen - count_);
        block_ = nullptr;
        cursor_ = nullptr;
        end_ = nullptr;
        count_ = 0;
    }
}

}  // namespace ZelJSON
