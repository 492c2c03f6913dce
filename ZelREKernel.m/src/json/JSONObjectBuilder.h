#pragma once

// Turns the names and values of an object, in the order of the document, into a run of members in
// the order of their names. Documents repeat themselves: the order found for an object is kept and
// tried on the next one of its kind, and checking an order is far cheaper than finding it.

#include <cstdint>

#include "json/JSONContainer.h"

namespace ZelJSON {

// What stands on the parser's stack.
struct Cell {
    Key key;
    ZelJSONSlot value;
};
static_assert(sizeof(Cell) == 2 * sizeof(ZelJSONSlot));

class ObjectBuilder {
public:
    // Leaves the orders as they are: most documents need few of them.
    ObjectBuilder() noexcept {}

    // Moves `count` members (at least one) into a new container. Of equal names the last one stays,
    // the other values are given back. Throws std::bad_alloc and leaves the cells as they are.
    Container* Build(Cell* cells, std::uint32_t count, BlockWriter& blocks);

    // Orders of more members are not kept.
    static constexpr std::uint32_t kMostKept = 48;

private:
    static constexpr std::size_t kKept = 64;

    struct Order {
        std::uint8_t index[kMostKept];
    };

    Container* BuildLarge(Cell* cells, std::uint32_t count, BlockWriter& blocks);

    std::uint8_t counts_[kKept] = {};  // 0: none kept
    Order kept_[kKept];
};

}  // namespace ZelJSON
