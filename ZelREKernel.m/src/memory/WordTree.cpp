#include "memory/WordTree.h"

#include <iterator>

namespace ZKL {

template <typename T>
std::uint32_t WordTree::Pool<T>::Take() noexcept {
    if (free_ == kNone) {
        nodes_.emplace_back();
        return static_cast<std::uint32_t>(nodes_.size() - 1);
    }
    const std::uint32_t index = free_;
    free_ = nodes_[index].count;
    --freeCount_;
    nodes_[index].count = 0;
    return index;
}

template <typename T>
void WordTree::Pool<T>::Give(std::uint32_t index) noexcept {
    nodes_[index].count = free_;
    free_ = index;
    ++freeCount_;
}

template <typename T>
void WordTree::Pool<T>::Clear() noexcept {
    nodes_.clear();
    free_ = kNone;
    freeCount_ = 0;
}

// How many items have a smaller key. Without branches that depend on it: they would be
// mispredicted.
template <typename N>
std::uint32_t WordTree::CountBelow(const N& node, std::uint64_t key) noexcept {
    std::uint32_t base = 0;
    std::uint32_t length = node.count;
    while (length > 1) {
        const std::uint32_t half = length / 2;
        base += Key(node.items[base + half - 1]) < key ? half : 0;
        length -= half;
    }
    return base + (length == 1 && Key(node.items[base]) < key ? 1 : 0);
}

// The first item from `index` on of weight `weight` or more, else the count.
template <typename N>
std::uint32_t WordTree::FindHeavy(const N& node, std::uint32_t index,
                                  std::uint32_t weight) noexcept {
    while (index < node.count && WeightOf(node.items[index]) < weight) {
        ++index;
    }
    return index;
}

template <typename N>
WordTree::Child WordTree::Summary(const N& node, std::uint32_t index) noexcept {
    Child summary{Key(node.items[0]), 0, 0, index};
    for (std::uint32_t i = 0; i < node.count; ++i) {
        summary.weight = std::max(summary.weight, WeightOf(node.items[i]));
        summary.words += WordsOf(node.items[i]);
    }
    return summary;
}

// Moves items from one node into another.
template <typename N>
void WordTree::Shift(N& from, std::uint32_t fromIndex, N& to, std::uint32_t toIndex,
                     std::uint32_t count) noexcept {
    std::copy_backward(to.items + toIndex, to.items + to.count, to.items + to.count + count);
    std::copy_n(from.items + fromIndex, count, to.items + toIndex);
    std::copy(from.items + fromIndex + count, from.items + from.count, from.items + fromIndex);
    to.count += count;
    from.count -= count;
}

// Makes neighbours of about the same size, or one of both; then `right` is left empty and the
// result is true.
template <typename N>
bool WordTree::Level(N& left, N& right) noexcept {
    const std::uint32_t total = left.count + right.count;
    if (total <= N::kCapacity * 3 / 4) {
        Shift(right, 0, left, left.count, right.count);
        return true;
    }
    if (left.count < total / 2) {
        Shift(right, 0, left, left.count, total / 2 - left.count);
    } else {
        Shift(left, total / 2, right, 0, left.count - total / 2);
    }
    return false;
}

template <typename N>
void WordTree::InsertItem(N& node, std::uint32_t index, const typename N::Item& item) noexcept {
    std::copy_backward(node.items + index, node.items + node.count, node.items + node.count + 1);
    node.items[index] = item;
    ++node.count;
}

template <typename N>
void WordTree::EraseItem(N& node, std::uint32_t index) noexcept {
    std::copy(node.items + index + 1, node.items + node.count, node.items + index);
    --node.count;
}

void WordTree::Clear() {
    leaves_.Clear();
    inners_.Clear();
    leaves_.Reserve(1);
    root_ = leaves_.Take();
    height_ = 0;
    size_ = 0;
}

WordTree::Place WordTree::Find(std::uint64_t word) const noexcept {
    Place place;
    std::uint32_t node = root_;
    for (unsigned level = height_; level > 0; --level) {
        const std::uint32_t below = CountBelow(inners_[node], word);
        const std::uint32_t index = below != 0 ? below - 1 : 0;
        place.steps_[level] = {node, index};
        node = inners_[node].items[index].node;
    }
    place.steps_[0] = {node, CountBelow(leaves_[node], word)};
    return place;
}

WordTree::Place WordTree::Select(std::uint32_t index) const noexcept {
    Place place;
    std::uint32_t node = root_;
    for (unsigned level = height_; level > 0; --level) {
        const Child* child = inners_[node].items;
        for (; index >= child->words; ++child) {
            index -= child->words;
        }
        place.steps_[level] = {node, static_cast<std::uint32_t>(child - inners_[node].items)};
        node = child->node;
    }
    place.steps_[0] = {node, index};
    return place;
}

std::uint32_t WordTree::Rank(const Place& place) const noexcept {
    std::uint32_t rank = place.steps_[0].index;
    for (unsigned level = 1; level <= height_; ++level) {
        const Inner& inner = inners_[place.steps_[level].node];
        for (std::uint32_t i = 0; i < place.steps_[level].index; ++i) {
            rank += inner.items[i].words;
        }
    }
    return rank;
}

// Goes to the first heavy word from item `index` of the place's node at `level` on: up until a node
// has a heavy item, then down to its first heavy word.
bool WordTree::Seek(Place& place, unsigned level, std::uint32_t index,
                    std::uint32_t weight) const noexcept {
    const auto heavyIn = [&](std::uint32_t from) {
        return WithNode(level, place.steps_[level].node,
                        [&](const auto& node) { return FindHeavy(node, from, weight); });
    };
    const auto count = [&] {
        return WithNode(level, place.steps_[level].node,
                        [](const auto& node) { return node.count; });
    };
    for (index = heavyIn(index); index == count(); index = heavyIn(index)) {
        if (level == height_) {
            return false;
        }
        ++level;
        index = place.steps_[level].index + 1;
    }
    place.steps_[level].index = index;
    while (level > 0) {
        const Place::Step& step = place.steps_[level];
        const std::uint32_t child = inners_[step.node].items[step.index].node;
        --level;
        place.steps_[level].node = child;
        place.steps_[level].index = heavyIn(0);
    }
    return true;
}

WordTree::Child WordTree::SummaryOf(unsigned level, std::uint32_t index) const noexcept {
    return WithNode(level, index, [index](const auto& node) { return Summary(node, index); });
}

// Brings what the nodes above know up to date after a change in the leaf: a word of `oldWeight` (0
// for none) has become one of `newWeight`, and `words` have come.
void WordTree::Changed(const Place& place, std::uint32_t oldWeight, std::uint32_t newWeight,
                       int words) noexcept {
    std::uint64_t first = leaves_[place.steps_[0].node].items[0];
    for (unsigned level = 1; level <= height_; ++level) {
        Inner& inner = inners_[place.steps_[level].node];
        Child& child = inner.items[place.steps_[level].index];
        child.first = first;
        child.words += static_cast<std::uint32_t>(words);
        const std::uint32_t was = child.weight;
        if (newWeight >= was) {
            child.weight = newWeight;
        } else if (oldWeight == was) {
            child.weight = SummaryOf(level - 1, child.node).weight;
        }
        oldWeight = was;
        newWeight = child.weight;
        first = inner.items[0].first;
    }
}

void WordTree::Replace(const Place& place, std::uint64_t word) noexcept {
    std::uint64_t& item = leaves_[place.steps_[0].node].items[place.steps_[0].index];
    const std::uint32_t oldWeight = Weight(item);
    item = word;
    Changed(place, oldWeight, Weight(word), 0);
}

void WordTree::Insert(Place place, std::uint64_t word) {
    if (leaves_[place.steps_[0].node].count == Leaf::kCapacity) {
        leaves_.Reserve(1);
        inners_.Reserve(height_ + 1);
        MakeRoom(place, 0);
    }
    InsertItem(leaves_[place.steps_[0].node], place.steps_[0].index, word);
    ++size_;
    Changed(place, 0, Weight(word), 1);
}

// Splits the place's node at `level`, and those above as needed, if it is full. Memory is reserved.
void WordTree::MakeRoom(Place& place, unsigned level) noexcept {
    const std::uint32_t node = place.steps_[level].node;
    const bool isFull =
        WithNode(level, node, [](const auto& full) { return full.count == std::size(full.items); });
    if (!isFull) {
        return;
    }
    if (level == height_) {
        GrowRoot(place);
    } else {
        MakeRoom(place, level + 1);
    }
    const std::uint32_t half = SplitNode(level, node);
    Place::Step& above = place.steps_[level + 1];
    Inner& parent = inners_[above.node];
    parent.items[above.index] = SummaryOf(level, node);
    InsertItem(parent, above.index + 1, SummaryOf(level, half));
    // A word may stand behind the last of a leaf; a child must exist.
    const std::uint32_t kept = WithNode(level, node, [](const auto& left) { return left.count; });
    if (place.steps_[level].index > kept || (level > 0 && place.steps_[level].index == kept)) {
        place.steps_[level] = {half, place.steps_[level].index - kept};
        ++above.index;
    }
}

// Moves the upper half of a node into a new one, whose index is returned.
std::uint32_t WordTree::SplitNode(unsigned level, std::uint32_t index) noexcept {
    const auto split = [index](auto& pool) {
        const std::uint32_t added = pool.Take();
        const std::uint32_t kept = pool[index].count / 2;
        Shift(pool[index], kept, pool[added], 0, pool[index].count - kept);
        return added;
    };
    return level == 0 ? split(leaves_) : split(inners_);
}

// Puts a root with a single child above the root.
void WordTree::GrowRoot(Place& place) noexcept {
    const std::uint32_t root = inners_.Take();
    InsertItem(inners_[root], 0, SummaryOf(height_, root_));
    root_ = root;
    ++height_;
    place.steps_[height_] = {root, 0};
}

void WordTree::Erase(const Place& place) noexcept {
    const std::uint32_t weight = Weight(At(place));
    EraseItem(leaves_[place.steps_[0].node], place.steps_[0].index);
    --size_;
    Changed(place, weight, 0, -1);
    for (unsigned level = 0; level < height_ && Refill(place, level); ++level) {
    }
    while (height_ > 0 && inners_[root_].count == 1) {
        const std::uint32_t root = root_;
        root_ = inners_[root].items[0].node;
        inners_.Give(root);
        --height_;
    }
}

// Fills the place's node at `level` up from a neighbour when it is less than a quarter full. True
// when that took the neighbour, and the node above has become smaller in turn.
bool WordTree::Refill(const Place& place, unsigned level) noexcept {
    const bool isPoor = WithNode(level, place.steps_[level].node, [](const auto& node) {
        return node.count < std::size(node.items) / 4;
    });
    if (!isPoor) {
        return false;
    }
    const Place::Step& above = place.steps_[level + 1];
    Inner& parent = inners_[above.node];
    const std::uint32_t left = above.index + 1 < parent.count ? above.index : above.index - 1;
    const auto refill = [&](auto& pool) {
        Child& keeper = parent.items[left];
        Child& giver = parent.items[left + 1];
        const bool isMerged = Level(pool[keeper.node], pool[giver.node]);
        keeper = Summary(pool[keeper.node], keeper.node);
        if (isMerged) {
            pool.Give(giver.node);
            EraseItem(parent, left + 1);
        } else {
            giver = Summary(pool[giver.node], giver.node);
        }
        return isMerged;
    };
    return level == 0 ? refill(leaves_) : refill(inners_);
}

}  // namespace ZKL
