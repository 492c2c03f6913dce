#pragma once

// The best-fit allocator written the naive way: a map of block starts for each page, a set of free
// blocks. It says which calls the client gets, and its text is what the real one must stream.

#include <set>
#include <tuple>

#include "bestfit/Device.h"

class Model {
public:
    static constexpr std::uint64_t kFree = ~std::uint64_t{0};

    Model(std::uint64_t size, const Refusals* refusals) : pageSize(size), refuse(refusals) {}

    Address Alloc(std::uint64_t size, std::uint64_t tag, bool defragment, bool dedicated) {
        if (size > pageSize || dedicated) {
            const std::uint64_t page = NewPage(size, tag);
            log += Line('L', page, size, tag);
            return {0, page};
        }
        if (size > Largest() && !MakeRoomByMoving(size, defragment)) {
            const std::uint64_t page = NewPage(0, 0);
            log += Line('A', page, pageSize);
            if (!refuse->page) {
                pages[page] = {pageSize, 0, {{0, kFree}, {pageSize, kFree}}};
                Gain(page, pageSize);
                free.insert({pageSize, page, 0});
                maxSize = pageSize;
                maxIndex = page;
            }
        }
        const auto found = free.lower_bound({size, 0, 0});
        if (found == free.end()) {
            return {kFree, kFree};
        }
        const auto [room, page, offset] = *found;
        free.erase(found);
        Put(page, offset, room, size);
        pages[page].starts[offset] = tag;
        return {offset, page};
    }

    void Free(Address at, unsigned int count) {
        Page& page = pages[at.page];
        auto first = page.starts.find(at.offset);
        auto last = std::next(first, count);
        Gain(at.page, last->first - first->first);
        if (page.free > maxSize) {
            maxSize = page.free;
            maxIndex = at.page;
        }
        std::vector<std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>> merged;
        if (first != page.starts.begin() && std::prev(first)->second == kFree) {
            --first;
            merged.emplace_back(at.offset - first->first, at.page, first->first);
        }
        if (last->second == kFree && last->first != page.size) {
            const auto next = std::next(last);
            merged.emplace_back(next->first - last->first, at.page, last->first);
            last = next;
        }
        for (const auto& gone : merged) {
            EXPECT_EQ(free.erase(gone), 1U);
        }
        const std::uint64_t start = first->first;
        page.starts.erase(first, last);
        page.starts[start] = kFree;
        if (page.free != page.size || !Release(at.page)) {
            free.insert({last->first - start, at.page, start});
        }
    }

    void Defragment() {
        log += Line('B', free.size());
        if (refuse->defragment) {
            return;
        }
        free.clear();
        for (std::uint64_t i = 0; i < pages.size(); ++i) {
            Compact(i);
        }
        log += Line('E');
    }

    std::uint64_t FreeupPages() {
        if (free.empty()) {
            return 0;
        }
        log += Line('B', free.size());
        std::uint64_t emptied = 0;
        while (!refuse->defragment && free.size() >= 2) {
            const std::uint64_t victim = std::get<1>(*free.rbegin());
            const auto runs = Runs(victim);
            auto left = free;
            std::erase_if(left, [&](const auto& block) { return std::get<1>(block) == victim; });
            std::vector<std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>> targets;
            for (const Run& run : runs) {
                const auto found = left.lower_bound({run.size, 0, 0});
                if (found == left.end()) {
                    return emptied;
                }
                const auto [room, page, offset] = *found;
                targets.push_back(*found);
                left.erase(found);
                if (room != run.size) {
                    left.insert({room - run.size, page, offset + run.size});
                }
            }
            std::erase_if(free, [&](const auto& block) { return std::get<1>(block) == victim; });
            for (std::size_t i = 0; i < runs.size(); ++i) {
                const auto& [room, page, offset] = targets[i];
                free.erase(targets[i]);
                LogMove(page, offset, victim, runs[i]);
                Put(page, offset, room, runs[i].size);
                for (const Block& block : runs[i].blocks) {
                    pages[page].starts[offset + (block.offset - runs[i].from)] = block.userData;
                }
            }
            Gain(victim, pages[victim].size - pages[victim].free);
            emptied += 1;
            if (!Release(victim)) {
                pages[victim].starts = {{0, kFree}, {pages[victim].size, kFree}};
                free.insert({pages[victim].size, victim, 0});
                if (pages[victim].size > maxSize) {
                    maxSize = pages[victim].size;
                    maxIndex = victim;
                }
                return emptied - (runs.empty() ? 1 : 0);
            }
        }
        return emptied;
    }

    std::string Text() const {
        std::string text;
        const auto add = [&](std::uint64_t n, const char* end) { text += std::to_string(n) + end; };
        add(freeSize, " ");
        add(pageSize, " ");
        add(maxSize, " ");
        add(maxIndex, "\n");
        add(pages.size(), "\n");
        for (const Page& page : pages) {
            add(page.free, " ");
            add(page.size, "\n");
            add(page.starts.size(), "\n");
            for (const auto& [offset, tag] : page.starts) {
                add(offset, " ");
                add(tag, "\n\n");
            }
            text += '\n';
        }
        add(free.size(), "\n");
        for (const auto& [size, page, offset] : free) {
            add(offset, " ");
            add(size, " ");
            add(page, "\n\n");
        }
        add(recycled.size(), "\n");
        for (const std::uint64_t page : recycled) {
            add(page, "\n");
        }
        return text;
    }

    std::uint64_t Largest() const { return free.empty() ? 0 : std::get<0>(*free.rbegin()); }

    struct Page {
        std::uint64_t size = 0;
        std::uint64_t free = 0;
        std::map<std::uint64_t, std::uint64_t> starts;  // tags by offset
    };
    std::uint64_t freeSize = 0;
    std::uint64_t pageSize;
    std::uint64_t maxSize = 0;
    std::uint64_t maxIndex = kFree;
    std::vector<Page> pages;
    std::set<std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>> free;  // size, page, offset
    std::vector<std::uint64_t> recycled;
    std::string log;
    const Refusals* refuse;

private:
    struct Run {
        std::uint64_t from = 0;
        std::uint64_t size = 0;
        bool last = false;  // reaches the page's end
        std::vector<Block> blocks;
    };

    bool MakeRoomByMoving(std::uint64_t size, bool defragment) {
        if (!defragment || pages.empty()) {
            return false;
        }
        if (maxIndex >= pages.size()) {
            for (std::uint64_t i = 0; i < pages.size(); ++i) {
                if (pages[i].free > maxSize) {
                    maxSize = pages[i].free;
                    maxIndex = i;
                }
            }
        }
        if (size < maxSize) {
            Defragment();
        }
        return size <= Largest();
    }
    std::uint64_t NewPage(std::uint64_t size, std::uint64_t tag) {
        std::uint64_t index = pages.size();
        if (recycled.empty()) {
            pages.emplace_back();
        } else {
            index = recycled.back();
            recycled.pop_back();
        }
        if (size != 0) {
            pages[index] = {size, 0, {{0, tag}, {size, kFree}}};
        }
        return index;
    }
    void Gain(std::uint64_t page, std::uint64_t size) {
        pages[page].free += size;
        freeSize += size;
    }
    // Takes `size` bytes off the front of a block of `room` bytes that is no longer among the free.
    void Put(std::uint64_t page, std::uint64_t offset, std::uint64_t room, std::uint64_t size) {
        Gain(page, 0 - size);
        maxIndex = page == maxIndex ? kFree : maxIndex;
        if (room != size) {
            pages[page].starts[offset + size] = kFree;
            free.insert({room - size, page, offset + size});
        }
    }
    bool Release(std::uint64_t page) {
        log += Line('R', page, pages[page].size);
        if (!refuse->release) {
            freeSize -= pages[page].size;
            pages[page] = {};
            recycled.push_back(page);
        }
        return !refuse->release;
    }
    std::vector<Run> Runs(std::uint64_t index) const {
        std::vector<Run> runs;
        const Page& page = pages[index];
        bool inside = false;
        for (auto at = page.starts.begin(); at != page.starts.end() && at->first != page.size;
             ++at) {
            if (at->second != kFree) {
                const std::uint64_t end = std::next(at)->first;
                if (!inside) {
                    runs.push_back({at->first, 0, false, {}});
                }
                runs.back().size = end - runs.back().from;
                runs.back().last = end == page.size;
                runs.back().blocks.push_back({at->first, at->second});
            }
            inside = at->second != kFree;
        }
        return runs;
    }
    void LogMove(std::uint64_t page, std::uint64_t to, std::uint64_t victim, const Run& run) {
        log += Line('M', page, to, victim, run.from, run.size, run.blocks.size());
    }
    void Compact(std::uint64_t index) {
        Page& page = pages[index];
        if (page.free == 0) {
            return;
        }
        std::uint64_t to = 0;
        std::uint64_t end = page.size;
        std::map<std::uint64_t, std::uint64_t> starts{{page.size, kFree}};
        for (const Run& run : Runs(index)) {
            const std::uint64_t target = run.last ? run.from : to;
            for (const Block& block : run.blocks) {
                starts[block.offset - run.from + target] = block.userData;
            }
            if (run.last) {
                end = run.from;
                break;
            }
            if (to != run.from) {
                LogMove(index, to, index, run);
            }
            to += run.size;
        }
        starts[to] = kFree;
        page.starts = starts;
        free.insert({end - to, index, to});
    }
};
