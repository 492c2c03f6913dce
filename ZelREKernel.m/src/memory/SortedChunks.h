#pragma once

// A sorted sequence kept in chunks: a B+-tree whose inner nodes know how many entries lie below
// each child, so that an entry is found by key or by index in O(log n), and insertion and removal
// shift one chunk instead of everything behind it. All nodes are pieces of a ChunkPool; an
// insertion takes at most Levels() + 1 of them, which the caller reserves. One thread at a time.
//
// Order names the entry, the key that it is sorted by, KeyOf, Less, and Rank, a number of an entry
// or a key that Less compares first. What consists of all ones comes last.
//
// Bayer and McCreight, "Organization and Maintenance of Large Ordered Indices" (1972); removal
// joins neighbours when both are thin and never borrows.

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "memory/ChunkPool.h"

namespace ZKL {

template <class Order>
class SortedChunks {
public:
    using Entry = typename Order::Entry;
    using Key = typename Order::Key;

private:
    static constexpr std::uint32_t kStride = 8;  // of the search within a node
    static constexpr std::uint32_t kStep = 4;    // entries that are shifted at a time

    struct Node {
        std::uint32_t count;  // of entries or children
        std::uint32_t level;  // 0 in a leaf
    };
    struct Leaf : Node {
        static constexpr std::uint32_t kMost =
            ((ChunkPool::kBytes - sizeof(Node) - 16) / sizeof(Entry) - 2 * kStep) / kStride *
            kStride;
        Leaf* previous;
        Leaf* next;
        // All ones from the last entry on. Behind kMost is what a shift may touch.
        Entry entries[kMost + 2 * kStep];
    };
    struct Inner : Node {
        static constexpr std::uint32_t kMost =
            ((ChunkPool::kBytes - sizeof(Node)) / (sizeof(Key) + 16) - 1) / kStride * kStride + 1;
        Key keys[kMost];  // no entry below child i is less than keys[i]; keys[0] is not used
        Node* children[kMost];
        std::uint64_t totals[kMost];
    };
    static_assert(sizeof(Leaf) <= ChunkPool::kBytes && sizeof(Inner) <= ChunkPool::kBytes);

    // Neighbours that could be joined are, so a level has at most a third of the nodes below it.
    static constexpr std::uint32_t kMostLevels = 24;

public:
    // A place in the sequence and the way to it. Any change of the sequence ends it, but for that
    // of the entry's other fields.
    class Place {
    public:
        Entry& operator*() const { return leaf_->entries[at_]; }
        Entry* operator->() const { return &leaf_->entries[at_]; }
        bool AtEntry() const { return leaf_ != nullptr && at_ < leaf_->count; }
        // The entry `distance` places on, null past the end.
        const Entry* Ahead(std::uint64_t distance) const {
            const Leaf* leaf = leaf_;
            for (distance += at_; leaf != nullptr && distance >= leaf->count; leaf = leaf->next) {
                distance -= leaf->count;
            }
            return leaf != nullptr ? &leaf->entries[distance] : nullptr;
        }
        // The entry before, null at the start.
        const Entry* Before() const {
            if (at_ != 0) {
                return &leaf_->entries[at_ - 1];
            }
            const Leaf* const leaf = leaf_->previous;
            return leaf != nullptr ? &leaf->entries[leaf->count - 1] : nullptr;
        }

    private:
        friend SortedChunks;
        struct Step {
            Inner* node;
            std::uint32_t child;
        };

        Leaf* leaf_ = nullptr;
        std::uint32_t at_ = 0;
        std::uint32_t depth_ = 0;
        Step path_[kMostLevels];
    };

    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        reference operator*() const { return leaf_->entries[at_]; }
        pointer operator->() const { return &leaf_->entries[at_]; }
        Iterator& operator++() {
            if (++at_ == leaf_->count) {
                leaf_ = leaf_->next;
                at_ = 0;
            }
            return *this;
        }
        Iterator operator++(int) {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator&, const Iterator&) = default;

    private:
        friend SortedChunks;
        const Leaf* leaf_ = nullptr;
        std::uint32_t at_ = 0;
    };

    SortedChunks() noexcept = default;
    SortedChunks(SortedChunks&& other) noexcept : root_(std::exchange(other.root_, nullptr)) {}
    SortedChunks& operator=(SortedChunks&& other) noexcept {
        std::swap(root_, other.root_);
        return *this;
    }
    ~SortedChunks() {
        if (root_ != nullptr) {
            ForEachNode(root_, [](Node* node) { ChunkPool::Delete(node); });
        }
    }

    bool Empty() const { return root_ == nullptr; }
    std::uint64_t Size() const { return root_ != nullptr ? Total(root_) : 0; }
    std::uint32_t Levels() const { return root_ != nullptr ? root_->level + 1 : 0; }
    // How many pieces Build takes.
    static std::uint64_t NodesFor(std::uint64_t entries) {
        std::uint64_t nodes = 0;
        for (std::uint64_t n = Divide(entries, Leaf::kMost); n != 0; n = Divide(n, Inner::kMost)) {
            nodes += n;
            if (n == 1) {
                break;
            }
        }
        return nodes;
    }

    Iterator begin() const {
        Iterator first;
        if (root_ != nullptr) {
            const Node* node = root_;
            while (node->level != 0) {
                node = static_cast<const Inner*>(node)->children[0];
            }
            first.leaf_ = static_cast<const Leaf*>(node);
        }
        return first;
    }
    Iterator end() const { return {}; }

    // The last entry of a sequence that has one.
    const Entry& Last() const {
        const Node* node = root_;
        while (node->level != 0) {
            node = static_cast<const Inner*>(node)->children[node->count - 1];
        }
        return static_cast<const Leaf*>(node)->entries[node->count - 1];
    }
    // The entry at an index below Size().
    const Entry& operator[](std::uint64_t index) const {
        const Node* node = root_;
        while (node->level != 0) {
            const Inner* const inner = static_cast<const Inner*>(node);
            std::uint32_t child = 0;
            while (index >= inner->totals[child]) {
                index -= inner->totals[child++];
            }
            node = inner->children[child];
        }
        return static_cast<const Leaf*>(node)->entries[index];
    }

    // The first entry not less than `key`; false when there is none. `place` then is where it would
    // be inserted.
    bool LowerBound(const Key& key, Place& place) const {
        if (root_ == nullptr) {
            place.leaf_ = nullptr;
            return false;
        }
        Descend(key, place);
        if (place.at_ < place.leaf_->count) {
            return true;
        }
        return place.leaf_->next != nullptr &&
               LowerBound(Order::KeyOf(place.leaf_->next->entries[0]), place);
    }
    // The entry with exactly this key.
    bool Find(const Key& key, Place& place) const {
        if (root_ == nullptr) {
            place.leaf_ = nullptr;
            return false;
        }
        Descend(key, place);
        return place.AtEntry() && !Order::Less(key, Order::KeyOf(*place));
    }

    void Insert(const Entry& entry, ChunkPool& pool) {
        Place place;
        if (root_ == nullptr) {
            root_ = MakeLeaf(pool);
            place.leaf_ = static_cast<Leaf*>(root_);
        } else {
            Descend(Order::KeyOf(entry), place);
        }
        InsertAt(place, entry, pool);
    }
    // Inserts right behind the entry at `place`.
    void InsertBehind(Place& place, const Entry& entry, ChunkPool& pool) {
        // At the end of a leaf the key may belong to the next one already.
        if (++place.at_ == place.leaf_->count && place.leaf_->next != nullptr) {
            Descend(Order::KeyOf(entry), place);
        }
        InsertAt(place, entry, pool);
    }
    // Gives the entry at `place` another value where that keeps the order within its leaf.
    bool Replace(const Place& place, const Entry& entry) {
        const Leaf& leaf = *place.leaf_;
        const Key key = Order::KeyOf(entry);
        if (place.at_ == 0 || place.at_ + 1 >= leaf.count ||
            !Order::Less(Order::KeyOf(leaf.entries[place.at_ - 1]), key) ||
            !Order::Less(key, Order::KeyOf(leaf.entries[place.at_ + 1]))) {
            return false;
        }
        *place = entry;
        return true;
    }
    // Removes `count` entries, the first one at `place` or `skip` entries behind it.
    void Erase(Place& place, std::uint64_t skip, std::uint64_t count, ChunkPool& pool) {
        place.at_ += static_cast<std::uint32_t>(skip);
        if (count != 0 && place.at_ >= place.leaf_->count) {
            Descend(Order::KeyOf(place.leaf_->next->entries[0]), place);
        }
        while (count != 0) {
            Leaf* const leaf = place.leaf_;
            const std::uint64_t here = std::min<std::uint64_t>(count, leaf->count - place.at_);
            count -= here;
            const Key rest = count != 0 ? Order::KeyOf(leaf->next->entries[0]) : Key{};
            EraseInLeaf(place, static_cast<std::uint32_t>(here), pool);
            if (count != 0) {
                Descend(rest, place);
            }
        }
    }

    // Gives all nodes to the pool.
    void Clear(ChunkPool& pool) {
        if (root_ != nullptr) {
            ForEachNode(std::exchange(root_, nullptr), [&](Node* node) { pool.Give(node); });
        }
    }
    // Fills an empty sequence with `count` entries, in the order in which they come and in as few
    // nodes as possible.
    template <class Next>
    void Build(Next from, std::uint64_t count, ChunkPool& pool) {
        if (count == 0) {
            return;
        }
        Leaf* last = nullptr;
        while (count != 0) {
            Leaf* const leaf = MakeLeaf(pool);
            leaf->count = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, Leaf::kMost));
            for (std::uint32_t i = 0; i < leaf->count; ++i, ++from) {
                leaf->entries[i] = *from;
            }
            count -= leaf->count;
            Link(last, leaf, nullptr);
            AppendNode(leaf, pool);
            last = leaf;
        }
    }

private:
    static std::uint64_t Divide(std::uint64_t n, std::uint64_t by) { return (n + by - 1) / by; }

    static Leaf* MakeLeaf(ChunkPool& pool) {
        Leaf* const leaf = new (pool.Take()) Leaf;
        leaf->count = leaf->level = 0;
        leaf->previous = leaf->next = nullptr;
        Pad(leaf->entries, 0, Leaf::kMost + 2 * kStep);
        return leaf;
    }
    static Inner* MakeInner(std::uint32_t level, ChunkPool& pool) {
        Inner* const inner = new (pool.Take()) Inner;
        inner->count = 0;
        inner->level = level;
        Pad(inner->keys, 0, Inner::kMost);
        return inner;
    }
    // Fills what the search may look at behind the last item with what comes after every other.
    template <class Item>
    static void Pad(Item* items, std::uint32_t from, std::uint32_t to) {
        std::memset(static_cast<void*>(items + from), 0xff, (to - from) * sizeof(Item));
    }
    static void Link(Leaf* before, Leaf* leaf, Leaf* after) {
        leaf->previous = before;
        leaf->next = after;
        if (before != nullptr) {
            before->next = leaf;
        }
        if (after != nullptr) {
            after->previous = leaf;
        }
    }
    template <class Action>
    static void ForEachNode(Node* node, const Action& action) {
        if (node->level != 0) {
            Inner* const inner = static_cast<Inner*>(node);
            for (std::uint32_t i = 0; i < inner->count; ++i) {
                ForEachNode(inner->children[i], action);
            }
        }
        action(node);
    }
    static std::uint64_t Total(const Node* node) {
        if (node->level == 0) {
            return node->count;
        }
        std::uint64_t total = 0;
        for (std::uint32_t i = 0; i < node->count; ++i) {
            total += static_cast<const Inner*>(node)->totals[i];
        }
        return total;
    }

    // How many of `n` sorted items the predicate holds for, which is so for those that rank below
    // `rank` and not for those above it. It looks at every eighth item and then at the eight
    // between two of those: more comparisons than a binary search, but no branch that is guessed
    // wrong half of the time, and the cache lines are fetched beside each other. Behind the n-th
    // item, up to kRoom, there is padding.
    template <std::uint32_t kRoom, class Item, class Predicate>
    static std::uint32_t CountWhile(std::uint64_t rank, const Item* items, std::uint32_t n,
                                    Predicate holds) {
        static_assert(kRoom % kStride == 0);
        std::uint32_t count = 0;
#pragma GCC unroll 8
        for (std::uint32_t i = kStride - 1; i + 1 < kRoom; i += kStride) {
            count += Order::Rank(items[i]) < rank ? kStride : 0U;
        }
        const Item* const rest = items + count;
#pragma GCC unroll 8
        for (std::uint32_t i = 0; i < kStride; ++i) {
            count += Order::Rank(rest[i]) < rank ? 1U : 0U;
        }
        if (count < n && holds(items[count])) {  // an equal rank
            return static_cast<std::uint32_t>(
                std::partition_point(items + count + 1, items + n, holds) - items);
        }
        return count;
    }

    void Descend(const Key& key, Place& place) const {
        const std::uint64_t rank = Order::Rank(key);
        Node* node = root_;
        std::uint32_t depth = 0;
        while (node->level != 0) {
            Inner* const inner = static_cast<Inner*>(node);
            const std::uint32_t child = CountWhile<Inner::kMost - 1>(
                rank, inner->keys + 1, inner->count - 1,
                [&](const Key& low) { return !Order::Less(key, low); });
            place.path_[depth++] = {inner, child};
            node = inner->children[child];
        }
        Leaf* const leaf = static_cast<Leaf*>(node);
        place.leaf_ = leaf;
        place.depth_ = depth;
        place.at_ = CountWhile<Leaf::kMost>(
            rank, leaf->entries, leaf->count,
            [&](const Entry& entry) { return Order::Less(Order::KeyOf(entry), key); });
    }

    template <class Item>
    static void MoveItems(Item* to, const Item* from, std::uint32_t count) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): items may be pointers to nodes
        std::memmove(static_cast<void*>(to), from, count * sizeof(Item));
    }

    void InsertAt(Place& place, const Entry& entry, ChunkPool& pool) {
        Leaf* leaf = place.leaf_;
        for (std::uint32_t d = 0; d < place.depth_; ++d) {
            ++place.path_[d].node->totals[place.path_[d].child];
        }
        std::uint32_t at = place.at_;
        if (leaf->count < Leaf::kMost) {
            PutEntry(*leaf, at, entry);
            return;
        }
        Leaf* const right = MakeLeaf(pool);
        const std::uint32_t half = Leaf::kMost / 2;
        MoveItems(right->entries, leaf->entries + half, Leaf::kMost - half);
        right->count = Leaf::kMost - half;
        leaf->count = half;
        Pad(leaf->entries, half, Leaf::kMost);
        Link(leaf, right, leaf->next);
        if (at > half) {
            leaf = right;
            at -= half;
        }
        PutEntry(*leaf, at, entry);
        AddSibling(place, place.depth_, Order::KeyOf(right->entries[0]), right, pool);
    }
    static void PutEntry(Leaf& leaf, std::uint32_t at, const Entry& entry) {
        for (std::uint32_t steps = (leaf.count - at + kStep - 1) / kStep; steps-- != 0;) {
            Entry* const from = leaf.entries + at + steps * kStep;
            CopyStep<true>(from + 1, from);
        }
        leaf.entries[at] = entry;
        ++leaf.count;
    }
    // Removes up to four entries. The padding moves up behind the others.
    static void DropEntries(Leaf& leaf, std::uint32_t at, std::uint32_t count) {
        for (std::uint32_t i = at; i < leaf.count; i += kStep) {
            CopyStep<false>(leaf.entries + i, leaf.entries + i + count);
        }
        leaf.count -= count;
    }
    // Copies four entries to a place up to four away; kUp says to which side. It takes the caller
    // less than a memmove does, which guesses at the size.
    template <bool kUp>
    static void CopyStep(Entry* to, const Entry* from) {
        constexpr std::size_t kPieces = kStep * sizeof(Entry) / sizeof(__m128i);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < kPieces; ++i) {
            const std::size_t piece = kUp ? kPieces - 1 - i : i;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to) + piece,
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(from) + piece));
        }
    }

    // Hangs `right` behind the node that it was split from, `depth` steps down the path. The totals
    // on the path count the new entry already.
    void AddSibling(Place& place, std::uint32_t depth, Key key, Node* right, ChunkPool& pool) {
        for (;;) {
            const std::uint64_t total = Total(right);
            if (depth == 0) {
                Inner* const top = MakeInner(root_->level + 1, pool);
                PutChild(*top, 0, key, root_, Total(root_));
                PutChild(*top, 1, key, right, total);
                root_ = top;
                return;
            }
            Inner* inner = place.path_[--depth].node;
            std::uint32_t at = place.path_[depth].child;
            inner->totals[at++] -= total;
            if (inner->count < Inner::kMost) {
                PutChild(*inner, at, key, right, total);
                return;
            }
            Inner* const half = SplitInner(*inner, pool);
            const Key halfKey = half->keys[0];
            if (at > inner->count) {
                at -= inner->count;
                inner = half;
            }
            PutChild(*inner, at, key, right, total);
            key = halfKey;
            right = half;
        }
    }
    static Inner* SplitInner(Inner& inner, ChunkPool& pool) {
        Inner* const right = MakeInner(inner.level, pool);
        const std::uint32_t half = Inner::kMost / 2;
        right->count = Inner::kMost - half;
        CopyChildren(*right, 0, inner, half);
        inner.count = half;
        Pad(inner.keys, half, Inner::kMost);
        return right;
    }
    // Copies the children of `from`, beginning with `first`, as many as `to` has room for by count.
    static void CopyChildren(Inner& to, std::uint32_t at, const Inner& from, std::uint32_t first) {
        const std::uint32_t n = from.count - first;
        MoveItems(to.keys + at, from.keys + first, n);
        MoveItems(to.children + at, from.children + first, n);
        MoveItems(to.totals + at, from.totals + first, n);
    }
    static void PutChild(Inner& inner, std::uint32_t at, const Key& key, Node* child,
                         std::uint64_t total) {
        CopyChildren(inner, at + 1, inner, at);
        inner.keys[at] = key;
        inner.children[at] = child;
        inner.totals[at] = total;
        ++inner.count;
    }
    static void DropChild(Inner& inner, std::uint32_t at) {
        CopyChildren(inner, at, inner, at + 1);
        --inner.count;
        Pad(inner.keys, inner.count, inner.count + 1);
    }

    // Adds a leaf at the end while the sequence is built.
    void AppendNode(Leaf* leaf, ChunkPool& pool) {
        if (root_ == nullptr) {
            root_ = leaf;
            return;
        }
        // The way down the right edge, and the lowest inner node there with room.
        Place edge;
        std::uint32_t depth = 0;
        std::uint32_t room = 0;
        for (Node* node = root_; node->level != 0; ++depth) {
            Inner* const inner = static_cast<Inner*>(node);
            edge.path_[depth] = {inner, inner->count - 1};
            room = inner->count < Inner::kMost ? depth + 1 : room;
            node = inner->children[inner->count - 1];
        }
        const Key key = Order::KeyOf(leaf->entries[0]);
        if (room == 0) {
            Inner* const top = MakeInner(root_->level + 1, pool);
            PutChild(*top, 0, key, root_, Total(root_));
            root_ = top;
            edge.path_[0] = {top, 0};
            room = 1;
        }
        for (std::uint32_t d = 0; d + 1 < room; ++d) {
            edge.path_[d].node->totals[edge.path_[d].child] += leaf->count;
        }
        Inner* inner = edge.path_[room - 1].node;
        Node* child = leaf;
        // Below the node with room the edge was full: a fresh edge of single children.
        for (std::uint32_t level = 1; level < inner->level; ++level) {
            Inner* const single = MakeInner(level, pool);
            PutChild(*single, 0, key, child, leaf->count);
            child = single;
        }
        PutChild(*inner, inner->count, key, child, leaf->count);
    }

    void EraseInLeaf(Place& place, std::uint32_t count, ChunkPool& pool) {
        Leaf& leaf = *place.leaf_;
        for (std::uint32_t left = count; left != 0;) {
            const std::uint32_t some = std::min(left, kStep);
            DropEntries(leaf, place.at_, some);
            left -= some;
        }
        for (std::uint32_t d = 0; d < place.depth_; ++d) {
            place.path_[d].node->totals[place.path_[d].child] -= count;
        }
        if (leaf.count < Leaf::kMost / 4) {
            JoinUpwards(place, pool);
        }
    }

    // Joins thin nodes with a neighbour, from the leaf upwards.
    void JoinUpwards(Place& place, ChunkPool& pool) {
        for (std::uint32_t depth = place.depth_; depth != 0; --depth) {
            Inner& parent = *place.path_[depth - 1].node;
            if (!JoinChild(parent, place.path_[depth - 1].child, pool)) {
                return;
            }
            if (parent.count >= Inner::kMost / 4) {
                return;
            }
        }
        while (root_->level != 0 && root_->count == 1) {
            Node* const only = static_cast<Inner*>(root_)->children[0];
            pool.Give(root_);
            root_ = only;
        }
        if (root_->count == 0) {
            pool.Give(std::exchange(root_, nullptr));
        }
    }
    // Joins a thin child with a neighbour, or drops it when it is empty. False when nothing was
    // done.
    static bool JoinChild(Inner& parent, std::uint32_t at, ChunkPool& pool) {
        Node* const thin = parent.children[at];
        if (thin->count == 0) {
            Unlink(thin);
            pool.Give(thin);
            DropChild(parent, at);
            return true;
        }
        if (parent.count == 1) {
            return true;  // a parent that thin is joined itself
        }
        const std::uint32_t left = at != 0 ? at - 1 : 0;
        Node* const a = parent.children[left];
        Node* const b = parent.children[left + 1];
        const std::uint32_t most = a->level == 0 ? Leaf::kMost : Inner::kMost;
        if (a->count + b->count > most / 4 * 3) {
            return false;
        }
        if (a->level == 0) {
            MoveItems(static_cast<Leaf*>(a)->entries + a->count, static_cast<Leaf*>(b)->entries,
                      b->count);
        } else {
            static_cast<Inner*>(b)->keys[0] = parent.keys[left + 1];
            CopyChildren(*static_cast<Inner*>(a), a->count, *static_cast<Inner*>(b), 0);
        }
        a->count += b->count;
        parent.totals[left] += parent.totals[left + 1];
        Unlink(b);
        pool.Give(b);
        DropChild(parent, left + 1);
        return true;
    }
    static void Unlink(Node* node) {
        if (node->level != 0) {
            return;
        }
        const Leaf* const leaf = static_cast<const Leaf*>(node);
        if (leaf->previous != nullptr) {
            leaf->previous->next = leaf->next;
        }
        if (leaf->next != nullptr) {
            leaf->next->previous = leaf->previous;
        }
    }

    Node* root_ = nullptr;
};

}  // namespace ZKL
