#pragma once

// The elements of an array that do not stand in a row from index 0: a tree of 16-way nodes over the
// index's digits, grown at the root as indices grow. Finding and adding are constant, whatever the
// order of the indices; an element, once added, never moves. Neighbours share what they cost; one
// far from all others takes up to 1.2 KB.

#include <cstdint>

#include "ZelREKernel/json/ZelJSONSlot.h"

namespace ZelJSON {

class SparseElements {
public:
    SparseElements() = default;
    SparseElements(const SparseElements&) = delete;
    SparseElements& operator=(const SparseElements&) = delete;
    // Gives the memory back; what the slots own is gone by then.
    ~SparseElements();

    bool IsEmpty() const noexcept { return empty_; }
    // The largest index; there must be one.
    std::uint32_t Last() const noexcept { return last_; }
    // Null for an absent element.
    ZelJSONSlot* Find(std::uint32_t index) const noexcept;
    // Finds the element or makes a null one. Throws std::bad_alloc; there is no new element then.
    ZelJSONSlot& Add(std::uint32_t index);

    // Existing elements with consecutive indices.
    struct Stretch {
        ZelJSONSlot* slots = nullptr;
        std::uint32_t index = 0;
        std::uint32_t count = 0;
    };
    // The stretch that begins with the first element at or behind `index`; of no elements at the
    // end. A stretch may go on in the next one.
    Stretch Next(std::uint32_t index) const noexcept;

private:
    static constexpr unsigned kDigitBits = 4;
    static constexpr unsigned kWays = 1u << kDigitBits;

    struct Inner {
        void* children[kWays] = {};  // null, or a Leaf on level 1 and an Inner above
    };
    struct Leaf {
        std::uint32_t present = 0;  // a bit for each element
        ZelJSONSlot slots[kWays];
    };

    static unsigned Digit(std::uint32_t index, unsigned level) noexcept {
        return (index >> (kDigitBits * level)) & (kWays - 1);
    }
    bool Covers(std::uint32_t index) const noexcept {
        return (std::uint64_t{index} >> (kDigitBits * (level_ + 1))) == 0;
    }
    static void Release(void* node, unsigned level) noexcept;
    // The leaf of `index`; where there is none, null and the level at which the way ends.
    Leaf* FindLeaf(std::uint32_t index, unsigned& level) const noexcept;

    void* root_ = nullptr;
    unsigned level_ = 0;  // of the root; leaves are on level 0
    std::uint32_t last_ = 0;
    bool empty_ = true;
};

}  // namespace ZelJSON
