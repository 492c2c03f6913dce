#pragma once

// Best fit as it is usually written: a std::set of free blocks by (size, page, offset), and a
// std::map of blocks by offset for each page. Same addresses as ours, page after page.

#include <cstdint>
#include <map>
#include <set>
#include <tuple>
#include <vector>

namespace peers {

class SetBestFit {
public:
    struct Address {
        std::uint64_t offset;
        std::uint64_t page;
    };

    explicit SetBestFit(std::uint64_t pageSize) : pageSize_(pageSize) {}

    Address Alloc(std::uint64_t size, std::uint64_t tag) {
        auto found = free_.lower_bound({size, 0, 0});
        if (found == free_.end()) {
            pages_.push_back({{0, kFree}, {pageSize_, kFree}});
            found = free_.emplace(pageSize_, pages_.size() - 1, 0).first;
        }
        const auto [room, page, offset] = *found;
        auto node = free_.extract(found);
        const auto at = pages_[page].find(offset);
        at->second = tag;
        if (room != size) {
            pages_[page].emplace_hint(std::next(at), offset + size, kFree);
            node.value() = {room - size, page, offset + size};
            free_.insert(std::move(node));
        }
        return {offset, page};
    }

    void Free(Address address) {
        auto& blocks = pages_[address.page];
        auto at = blocks.find(address.offset);
        auto next = std::next(at);
        if (next->second == kFree && std::next(next) != blocks.end()) {
            free_.erase({std::next(next)->first - next->first, address.page, next->first});
            next = blocks.erase(next);
        }
        if (at != blocks.begin() && std::prev(at)->second == kFree) {
            const auto before = std::prev(at);
            free_.erase({at->first - before->first, address.page, before->first});
            blocks.erase(at);
            at = before;
        }
        at->second = kFree;
        free_.emplace(next->first - at->first, address.page, at->first);
    }

    std::uint64_t GetNumPages() const { return pages_.size(); }

private:
    static constexpr std::uint64_t kFree = ~std::uint64_t{0};

    std::uint64_t pageSize_;
    std::vector<std::map<std::uint64_t, std::uint64_t>> pages_;  // tags by offset
    std::set<std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>> free_;
};

}  // namespace peers
