#include "json/JSONObjectBuilder.h"

#include <algorithm>

#include "json/JSONTree.h"

namespace ZelJSON {
namespace {

bool Less(const Key& a, std::uint64_t prefixOfA, const Key& b, std::uint64_t prefixOfB) noexcept {
    return prefixOfA != prefixOfB ? prefixOfA < prefixOfB : a.View() < b.View();
}

// Whether the names, taken in that order, ascend without a repetition.
template <class Index>
bool Ascend(const Cell* cells, const Index* order, std::uint32_t count) noexcept {
    const Key* last = &cells[order[0]].key;
    std::uint64_t prefixOfLast = last->Prefix();
    for (std::uint32_t i = 1; i < count; ++i) {
        const Key* const key = &cells[order[i]].key;
        const std::uint64_t prefix = key->Prefix();
        if (!Less(*last, prefixOfLast, *key, prefix)) {
            return false;
        }
        last = key;
        prefixOfLast = prefix;
    }
    return true;
}

void SortFew(const Cell* cells, std::uint8_t* order, std::uint32_t count) noexcept {
    std::uint64_t prefixes[ObjectBuilder::kMostKept];
    for (std::uint32_t i = 0; i < count; ++i) {
        const Key& key = cells[i].key;
        const std::uint64_t prefix = key.Prefix();
        std::uint32_t at = i;
        for (; at > 0 && Less(key, prefix, cells[order[at - 1]].key, prefixes[at - 1]); --at) {
            order[at] = order[at - 1];
            prefixes[at] = prefixes[at - 1];
        }
        order[at] = static_cast<std::uint8_t>(i);
        prefixes[at] = prefix;
    }
}

// Keeps the last of equal names, which a stable sort has put side by side, and gives back the other
// values. Returns how many are left.
template <class Index>
std::uint32_t DropRepetitions(Cell* cells, Index* order, std::uint32_t count) noexcept {
    std::uint32_t kept = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        Cell& cell = cells[order[i]];
        if (i + 1 < count && cell.key.View() == cells[order[i + 1]].key.View()) {
            ReleaseContents(cell.value);
            cell.value = ZelJSONSlot();
        } else {
            order[kept++] = order[i];
        }
    }
    return kept;
}

bool Owns(const ZelJSONSlot& slot) noexcept {
    return slot.type == kString ? !IsInline(slot) : slot.type >= kArray;
}

template <class Index>
Container* MakeRun(Cell* cells, const Index* order, std::uint32_t count, BlockWriter& blocks) {
    std::size_t names = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const Key& key = cells[order[i]].key;
        names += key.IsLong() ? key.longer.length : 0;
    }
    Container* const object =
        NewContainer(count * sizeof(Member) + names, Container::kOfMembers, blocks);
    object->count = count;
    Member* member = object->Members();
    char* text = reinterpret_cast<char*>(member + count);
    bool owns = false;
    for (std::uint32_t i = 0; i < count; ++i, ++member) {
        const Cell& cell = cells[order[i]];
        ::new (member) Member{cell.key, cell.value};
        owns |= Owns(cell.value);
        if (cell.key.IsLong()) {
            std::memcpy(text, cell.key.longer.pointer, cell.key.longer.length);
            member->key.longer.pointer = text;
            text += cell.key.longer.length;
        }
    }
    object->flags |= owns ? 0 : Container::kPlain;
    return object;
}

}  // namespace

Container* ObjectBuilder::Build(Cell* cells, std::uint32_t count, BlockWriter& blocks) {
    if (count > kMostKept) {
        return BuildLarge(cells, count, blocks);
    }
    if (count == 1) {
        const std::uint8_t only = 0;
        return MakeRun(cells, &only, 1, blocks);
    }
    const std::uint64_t mix =
        (cells[0].key.Prefix() ^ cells[count - 1].key.Prefix() * 3 ^ count) * 0x9E3779B97F4A7C15u;
    static_assert(kKept == 64);
    Order& order = kept_[mix >> 58];
    std::uint8_t& kept = counts_[mix >> 58];
    if (kept != count || !Ascend(cells, order.index, count)) {
        SortFew(cells, order.index, count);
        const std::uint32_t left = DropRepetitions(cells, order.index, count);
        // An order for fewer names than stand on the stack is of no use to the next object.
        kept = static_cast<std::uint8_t>(left == count ? count : 0);
        count = left;
    }
    return MakeRun(cells, order.index, count, blocks);
}

Container* ObjectBuilder::BuildLarge(Cell* cells, std::uint32_t count, BlockWriter& blocks) {
    std::vector<std::uint32_t, HeapAllocator<std::uint32_t>> order(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        order[i] = i;
    }
    if (!Ascend(cells, order.data(), count)) {
        std::sort(order.begin(), order.end(), [cells](std::uint32_t a, std::uint32_t b) {
            const std::uint64_t prefixOfA = cells[a].key.Prefix();
            const std::uint64_t prefixOfB = cells[b].key.Prefix();
            if (prefixOfA != prefixOfB) {
                return prefixOfA < prefixOfB;
            }
            const int names = cells[a].key.View().compare(cells[b].key.View());
            return names != 0 ? names < 0 : a < b;
        });
        count = DropRepetitions(cells, order.data(), count);
    }
    return MakeRun(cells, order.data(), count, blocks);
}

}  // namespace ZelJSON
