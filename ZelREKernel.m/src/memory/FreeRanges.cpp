#include "memory/FreeRanges.h"

#include <new>
#include <utility>

namespace ZKL {

vFreeRanges::Range vFreeRanges::At(const Place& place) const noexcept {
    const std::uint64_t word = ranges_.At(place);
    return {WordTree::High(word), WordTree::Low(word)};
}

bool vFreeRanges::BestFit(Place& place, std::uint32_t length) {
    if (bySize_ == nullptr) {
        try {
            BuildBySize();
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    Place best = bySize_->Find(WordTree::Pair(length, 0));
    if (!bySize_->Settle(best)) {
        return false;
    }
    place = ranges_.Find(WordTree::Pair(WordTree::Low(bySize_->At(best)), 0));
    return ranges_.Settle(place);
}

std::uint32_t vFreeRanges::Take(const Place& place, std::uint32_t count) noexcept {
    const Range range = At(place);
    if (count == range.Length()) {
        Erase(place);
    } else {
        Replace(place, {range.begin + count, range.end});
    }
    return range.begin;
}

std::uint32_t vFreeRanges::Add(std::uint32_t begin, std::uint32_t end) {
    const Place at = ranges_.Find(WordTree::Pair(begin, 0));
    Place left = at;
    Place right = at;
    const bool hasLeft = WordTree::StepBack(left);
    const bool hasRight = ranges_.Settle(right);
    const bool touchesLeft = hasLeft && At(left).end == begin;
    const bool touchesRight = hasRight && At(right).begin == end;
    std::uint32_t hint = 0;
    if (touchesLeft && touchesRight) {
        const std::uint32_t mergedEnd = At(right).end;
        Erase(right);
        left = ranges_.Find(WordTree::Pair(begin, 0));
        WordTree::StepBack(left);
        Replace(left, {At(left).begin, mergedEnd});
    } else if (touchesLeft) {
        Replace(left, {At(left).begin, end});
    } else if (touchesRight) {
        Replace(right, {begin, At(right).end});
    } else {
        hint = ranges_.Rank(at);
        ranges_.Insert(at, WordTree::Pair(begin, end));
        AddBySize({begin, end});
    }
    return hasRight ? hint : Size() - 1;
}

void vFreeRanges::Reset(std::uint32_t begin, std::uint32_t end) {
    bySize_.reset();
    ranges_.Clear();
    ranges_.Insert(ranges_.Find(0), WordTree::Pair(begin, end));
}

void vFreeRanges::Replace(const Place& place, Range range) noexcept {
    DropBySize(At(place));
    ranges_.Replace(place, WordTree::Pair(range.begin, range.end));
    AddBySize(range);
}

void vFreeRanges::Erase(const Place& place) noexcept {
    DropBySize(At(place));
    ranges_.Erase(place);
}

void vFreeRanges::BuildBySize() {
    auto built = std::make_unique<WordTree>();
    Place place;
    for (bool more = First(place, 0); more; more = Next(place, 0)) {
        const Range range = At(place);
        const std::uint64_t word = WordTree::Pair(range.Length(), range.begin);
        built->Insert(built->Find(word), word);
    }
    bySize_ = std::move(built);
}

void vFreeRanges::AddBySize(Range range) noexcept {
    if (bySize_ == nullptr) {
        return;
    }
    const std::uint64_t word = WordTree::Pair(range.Length(), range.begin);
    try {
        bySize_->Insert(bySize_->Find(word), word);
    } catch (const std::bad_alloc&) {
        bySize_.reset();
    }
}

void vFreeRanges::DropBySize(Range range) noexcept {
    if (bySize_ == nullptr) {
        return;
    }
    const std::uint64_t word = WordTree::Pair(range.Length(), range.begin);
    Place place = bySize_->Find(word);
    if (bySize_->Settle(place) && bySize_->At(place) == word) {
        bySize_->Erase(place);
    } else {
        bySize_
            .reset();  // only after a double free; the caller's numbers are lost, not the process
    }
}

}  // namespace ZKL
