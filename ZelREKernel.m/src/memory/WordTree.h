#pragma once

// A sorted sequence of 64-bit words in a B+-tree: found by value, by position, or as the first one
// that is heavy enough, each in logarithmic time. The word is a pair of 32-bit numbers; its weight
// is the low half minus the high one, so a range (begin, end) weighs its length.
//
// Nodes lie in two arrays and know each other by index, which makes a copy of the tree a copy of
// the arrays. Every node but the root is at least a quarter full.
//
// One thread at a time. Operations that need memory throw std::bad_alloc and change nothing.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ZKL {

class WordTree {
public:
    // Enough for more words than a 32-bit count of them allows.
    static constexpr unsigned kMaxHeight = 11;

    // A place in the sequence: the way down to it. It may stand behind the last word of a leaf.
    // Void once words come or go.
    class Place {
        friend class WordTree;
        struct Step {
            std::uint32_t node;
            std::uint32_t index;
        };
        Step steps_[kMaxHeight + 1];  // from the leaf up
    };

    static constexpr std::uint64_t Pair(std::uint32_t high, std::uint32_t low) noexcept {
        return std::uint64_t{high} << 32 | low;
    }
    static constexpr std::uint32_t High(std::uint64_t word) noexcept {
        return static_cast<std::uint32_t>(word >> 32);
    }
    static constexpr std::uint32_t Low(std::uint64_t word) noexcept {
        return static_cast<std::uint32_t>(word);
    }
    static constexpr std::uint32_t Weight(std::uint64_t word) noexcept {
        return Low(word) - High(word);
    }

    WordTree() { Clear(); }

    std::uint32_t Size() const noexcept { return size_; }
    // Allocates nothing but for the first time.
    void Clear();

    // Where `word` stands or would be inserted: behind all smaller words.
    Place Find(std::uint64_t word) const noexcept;
    // The word at `index`, which must be below Size().
    Place Select(std::uint32_t index) const noexcept;
    // How many words come before `place`.
    std::uint32_t Rank(const Place& place) const noexcept;
    // The first word of weight `weight` or more. False without one.
    bool First(Place& place, std::uint32_t weight) const noexcept {
        place.steps_[height_].node = root_;
        return Seek(place, height_, 0, weight);
    }
    // The next such word after the one at `place`.
    bool Next(Place& place, std::uint32_t weight) const noexcept {
        return Seek(place, 0, place.steps_[0].index + 1, weight);
    }
    // Moves a place behind the last word of a leaf to the word that follows. False at the end.
    bool Settle(Place& place) const noexcept { return Seek(place, 0, place.steps_[0].index, 0); }
    // Moves a place that Find gave to the word before. False, and not moved, at the beginning.
    static bool StepBack(Place& place) noexcept {
        return place.steps_[0].index != 0 && place.steps_[0].index-- != 0;
    }

    std::uint64_t At(const Place& place) const noexcept {
        return leaves_[place.steps_[0].node].items[place.steps_[0].index];
    }
    // Puts a word in the place of another, between the same neighbours.
    void Replace(const Place& place, std::uint64_t word) noexcept;
    // Inserts a word before `place`.
    void Insert(Place place, std::uint64_t word);
    void Erase(const Place& place) noexcept;

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    // What a node knows of a child.
    struct Child {
        std::uint64_t first;   // its smallest word
        std::uint32_t weight;  // of its heaviest word
        std::uint32_t words;   // below it
        std::uint32_t node;
    };
    template <typename T, std::uint32_t kItems>
    struct Node {
        using Item = T;
        static constexpr std::uint32_t kCapacity = kItems;
        std::uint32_t count = 0;
        Item items[kItems];
    };
    using Leaf = Node<std::uint64_t, 64>;
    using Inner = Node<Child, 32>;

    // Nodes by index; freed ones are used again.
    template <typename T>
    class Pool {
    public:
        T& operator[](std::uint32_t index) noexcept { return nodes_[index]; }
        const T& operator[](std::uint32_t index) const noexcept { return nodes_[index]; }
        // Lets Take succeed `count` times.
        void Reserve(std::size_t count) {
            const std::size_t room = nodes_.capacity() - nodes_.size() + freeCount_;
            if (room < count) {
                nodes_.reserve(std::max(2 * nodes_.capacity(), nodes_.size() + count));
            }
        }
        std::uint32_t Take() noexcept;
        void Give(std::uint32_t index) noexcept;
        void Clear() noexcept;

    private:
        std::vector<T> nodes_;
        std::uint32_t free_ = kNone;  // the first free node; its count is the next one's index
        std::size_t freeCount_ = 0;
    };

    static std::uint64_t Key(std::uint64_t word) noexcept { return word; }
    static std::uint64_t Key(const Child& child) noexcept { return child.first; }
    static std::uint32_t WeightOf(std::uint64_t word) noexcept { return Weight(word); }
    static std::uint32_t WeightOf(const Child& child) noexcept { return child.weight; }
    static std::uint32_t WordsOf(std::uint64_t) noexcept { return 1; }
    static std::uint32_t WordsOf(const Child& child) noexcept { return child.words; }

    template <typename N>
    static std::uint32_t CountBelow(const N& node, std::uint64_t key) noexcept;
    template <typename N>
    static std::uint32_t FindHeavy(const N& node, std::uint32_t index,
                                   std::uint32_t weight) noexcept;
    template <typename N>
    static Child Summary(const N& node, std::uint32_t index) noexcept;
    template <typename N>
    static void Shift(N& from, std::uint32_t fromIndex, N& to, std::uint32_t toIndex,
                      std::uint32_t count) noexcept;
    template <typename N>
    static bool Level(N& left, N& right) noexcept;
    template <typename N>
    static void InsertItem(N& node, std::uint32_t index, const typename N::Item& item) noexcept;
    template <typename N>
    static void EraseItem(N& node, std::uint32_t index) noexcept;

    // Calls `action` with the node `index` of a level.
    template <typename Action>
    auto WithNode(unsigned level, std::uint32_t index, Action action) const noexcept {
        return level == 0 ? action(leaves_[index]) : action(inners_[index]);
    }
    bool Seek(Place& place, unsigned level, std::uint32_t index,
              std::uint32_t weight) const noexcept;
    Child SummaryOf(unsigned level, std::uint32_t index) const noexcept;
    void Changed(const Place& place, std::uint32_t oldWeight, std::uint32_t newWeight,
                 int words) noexcept;
    void MakeRoom(Place& place, unsigned level) noexcept;
    std::uint32_t SplitNode(unsigned level, std::uint32_t index) noexcept;
    void GrowRoot(Place& place) noexcept;
    bool Refill(const Place& place, unsigned level) noexcept;

    Pool<Leaf> leaves_;
    Pool<Inner> inners_;
    std::uint32_t root_ = 0;
    unsigned height_ = 0;  // levels above the leaves
    std::uint32_t size_ = 0;
};

}  // namespace ZKL
