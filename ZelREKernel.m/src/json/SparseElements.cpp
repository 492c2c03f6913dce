#include "json/SparseElements.h"

#include <algorithm>
#include <bit>
#include <new>

#include "json/JSONBlock.h"

namespace ZelJSON {

SparseElements::~SparseElements() {
    Release(root_, level_);
}

// No deeper than an index has digits.
void SparseElements::Release(void* node, unsigned level) noexcept {
    if (node == nullptr) {
        return;
    }
    if (level > 0) {
        for (void* const child : static_cast<Inner*>(node)->children) {
            Release(child, level - 1);
        }
    }
    Free(node);
}

SparseElements::Leaf* SparseElements::FindLeaf(std::uint32_t index,
                                               unsigned& level) const noexcept {
    void* node = root_;
    for (level = level_; level > 0 && node != nullptr; --level) {
        node = static_cast<Inner*>(node)->children[Digit(index, level)];
    }
    return static_cast<Leaf*>(node);
}

ZelJSONSlot* SparseElements::Find(std::uint32_t index) const noexcept {
    if (empty_ || index > last_) {
        return nullptr;
    }
    unsigned level = 0;
    Leaf* const leaf = FindLeaf(index, level);
    const unsigned digit = Digit(index, 0);
    return leaf != nullptr && (leaf->present >> digit & 1) != 0 ? &leaf->slots[digit] : nullptr;
}

// A node that is made before the memory ends stays, without elements, for the next attempt.
ZelJSONSlot& SparseElements::Add(std::uint32_t index) {
    while (!Covers(index)) {
        if (root_ != nullptr) {
            auto* const above = ::new (Allocate(sizeof(Inner))) Inner;
            above->children[0] = root_;
            root_ = above;
        }
        ++level_;
    }
    void** place = &root_;
    for (unsigned level = level_; level > 0; --level) {
        if (*place == nullptr) {
            *place = ::new (Allocate(sizeof(Inner))) Inner;
        }
        place = &static_cast<Inner*>(*place)->children[Digit(index, level)];
    }
    if (*place == nullptr) {
        *place = ::new (Allocate(sizeof(Leaf))) Leaf;
    }
    auto* const leaf = static_cast<Leaf*>(*place);
    leaf->present |= 1u << Digit(index, 0);
    last_ = empty_ ? index : std::max(last_, index);
    empty_ = false;
    return leaf->slots[Digit(index, 0)];
}

SparseElements::Stretch SparseElements::Next(std::uint32_t index) const noexcept {
    std::uint64_t from = index;
    while (!empty_ && from <= last_) {
        const auto at = static_cast<std::uint32_t>(from);
        unsigned level = 0;
        Leaf* const leaf = FindLeaf(at, level);
        const unsigned digit = Digit(at, 0);
        if (leaf != nullptr && (leaf->present >> digit) != 0) {
            const auto skipped = static_cast<unsigned>(std::countr_zero(leaf->present >> digit));
            const unsigned first = digit + skipped;
            const auto count = static_cast<std::uint32_t>(std::countr_one(leaf->present >> first));
            return {&leaf->slots[first], at + skipped, count};
        }
        // Nothing is left of the node that would stand here.
        const unsigned shift = kDigitBits * (level + 1);
        from = ((from >> shift) + 1) << shift;
    }
    return {};
}

}  // namespace ZelJSON
