#include "ZelREKernel/memory/vCoalescentAllocator.h"

#include <MekHost/assertion/MekCheck.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/FieldOrder.h"
#include "memory/FreeRanges.h"

using ZKL::vFreeRanges;

namespace {

constexpr std::uint64_t kLongestRun = std::uint64_t{1} << 31;

}  // namespace

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::uint32_t vCoalescentAllocator::InvalidId;
constexpr std::uint64_t vCoalescentAllocator::kDefaultSize;

struct vCoalescentAllocator::Layout {
    ZKL_FIELD_ORDER_BEGIN
    static_assert(offsetof(vCoalescentAllocator, freeRanges_) == 0);
    static_assert(offsetof(vCoalescentAllocator, size_) == 8);
    static_assert(offsetof(vCoalescentAllocator, numAllocs_) == 16);
    static_assert(offsetof(vCoalescentAllocator, hint_) == 24);
    static_assert(sizeof(Remap) == 8);
    ZKL_FIELD_ORDER_END
};

vCoalescentAllocator::vCoalescentAllocator(std::uint64_t size) : size_(size) {
    if (size != 0) {
        SetOnlyRange(0);
    }
}

vCoalescentAllocator::~vCoalescentAllocator() = default;

vCoalescentAllocator::vCoalescentAllocator(const vCoalescentAllocator& other)
    : freeRanges_(other.freeRanges_ ? std::make_unique<vFreeRanges>(*other.freeRanges_) : nullptr),
      size_(other.size_),
      numAllocs_(other.numAllocs_),
      hint_(other.hint_) {}

vCoalescentAllocator& vCoalescentAllocator::operator=(const vCoalescentAllocator& other) {
    return *this = vCoalescentAllocator(other);
}

vCoalescentAllocator::vCoalescentAllocator(vCoalescentAllocator&& other) noexcept
    : freeRanges_(std::move(other.freeRanges_)),
      size_(std::exchange(other.size_, 0)),
      numAllocs_(std::exchange(other.numAllocs_, 0)),
      hint_(std::exchange(other.hint_, 0)) {}

vCoalescentAllocator& vCoalescentAllocator::operator=(vCoalescentAllocator&& other) noexcept {
    vCoalescentAllocator taken(std::move(other));
    std::swap(freeRanges_, taken.freeRanges_);
    std::swap(size_, taken.size_);
    std::swap(numAllocs_, taken.numAllocs_);
    std::swap(hint_, taken.hint_);
    return *this;
}

std::uint32_t vCoalescentAllocator::Alloc(std::uint64_t count) {
    const auto length = static_cast<std::uint32_t>(count);
    vFreeRanges::Place place;
    if (count == 0 || count > kLongestRun || freeRanges_ == nullptr ||
        !freeRanges_->First(place, length)) {
        return InvalidId;
    }
    numAllocs_ += count;
    return freeRanges_->Take(place, length);
}

std::uint32_t vCoalescentAllocator::AllocAligned(std::uint64_t count, std::uint64_t alignment) {
    if (alignment == 0) {
        Check_TRUE_Failed__("alignment != 0", __FILE__, __LINE__);
        return InvalidId;
    }
    if (count > kLongestRun || freeRanges_ == nullptr) {
        return InvalidId;
    }
    const auto length = static_cast<std::uint32_t>(count);
    vFreeRanges::Place place;
    for (bool more = freeRanges_->First(place, length); more;
         more = freeRanges_->Next(place, length)) {
        const vFreeRanges::Range range = freeRanges_->At(place);
        const std::uint64_t over = range.begin % alignment;
        const std::uint64_t padding = over == 0 ? 0 : alignment - over;
        if (padding <= range.Length() - length) {
            numAllocs_ += count + padding;
            return freeRanges_->Take(place, length + static_cast<std::uint32_t>(padding));
        }
    }
    return InvalidId;
}

std::uint32_t vCoalescentAllocator::AllocBestFit(std::uint64_t count) {
    if (count == 0 || count > kLongestRun || freeRanges_ == nullptr) {
        return InvalidId;
    }
    const auto length = static_cast<std::uint32_t>(count);
    vFreeRanges::Place place;
    bool isFound = false;
    if (hint_ < freeRanges_->Size()) {
        place = freeRanges_->Select(static_cast<std::uint32_t>(hint_));
        isFound = freeRanges_->At(place).Length() == length;
    }
    if (!isFound && !freeRanges_->BestFit(place, length)) {
        return InvalidId;
    }
    numAllocs_ += count;
    return freeRanges_->Take(place, length);
}

void vCoalescentAllocator::Free(std::uint32_t id, std::uint64_t count) {
    if (count == 0) {
        return;
    }
    if (freeRanges_ == nullptr) {
        freeRanges_ = std::make_unique<vFreeRanges>();
    }
    hint_ = freeRanges_->Add(id, id + static_cast<std::uint32_t>(count));
    numAllocs_ -= count;
}

void vCoalescentAllocator::Collapse(std::vector<Remap>& remap) {
    remap.clear();
    std::uint32_t total = 0;
    vFreeRanges::Place place;
    for (bool more = freeRanges_ != nullptr && freeRanges_->First(place, 0); more;
         more = freeRanges_->Next(place, 0)) {
        const vFreeRanges::Range range = freeRanges_->At(place);
        if (range.end == size_) {
            break;
        }
        total += range.Length();
        remap.push_back({range.end, total});
    }
    SetOnlyRange(static_cast<std::uint32_t>(numAllocs_));
}

void vCoalescentAllocator::DropAll() {
    SetOnlyRange(0);
    numAllocs_ = 0;
}

void vCoalescentAllocator::SetOnlyRange(std::uint32_t begin) {
    if (freeRanges_ == nullptr) {
        freeRanges_ = std::make_unique<vFreeRanges>();
    }
    freeRanges_->Reset(begin,
                       static_cast<std::uint32_t>(std::min<std::uint64_t>(size_, InvalidId)));
}

std::uint32_t vCoalescentAllocator::GetNumFreeBlocks() const noexcept {
    return freeRanges_ != nullptr ? freeRanges_->Size() : 0;
}

void vCoalescentAllocator::GetFreeBlock(std::uint32_t index, std::uint32_t& begin,
                                        std::uint32_t& end) const noexcept {
    vFreeRanges::Range range{0, 0};
    if (index < GetNumFreeBlocks()) {
        range = freeRanges_->At(freeRanges_->Select(index));
    }
    begin = range.begin;
    end = range.end;
}

std::uint32_t vCoalescentAllocator::GetMaxId() const noexcept {
    if (numAllocs_ == 0) {
        return InvalidId;
    }
    const std::uint32_t blocks = GetNumFreeBlocks();
    if (blocks == 0) {
        return static_cast<std::uint32_t>(numAllocs_ - 1);
    }
    const vFreeRanges::Range last = freeRanges_->At(freeRanges_->Select(blocks - 1));
    return last.end != size_ ? static_cast<std::uint32_t>(size_ - 1) : last.begin - 1;
}

float vCoalescentAllocator::GetFragmentation() const noexcept {
    const std::uint32_t maxId = GetMaxId();
    if (numAllocs_ == 0 || maxId == InvalidId) {
        return 0.0F;
    }
    // A division of integers: the used share is 1 when all is used and 0 otherwise.
    const std::uint64_t usedShare = numAllocs_ / (std::uint64_t{maxId} + 1);
    return 1.0F - static_cast<float>(usedShare);
}
