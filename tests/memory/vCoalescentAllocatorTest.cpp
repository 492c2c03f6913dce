#include "ZelREKernel/memory/vCoalescentAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <utility>

#include "memory/FailingNew.h"
#include "memory/LiveBlocks.h"

namespace {

constexpr std::uint32_t kInvalid = 0xFFFFFFFF;

// The allocator in its plainest form: a sorted vector, walked from the beginning.
struct Model {
    struct Range {
        std::uint32_t begin;
        std::uint32_t end;
    };
    std::vector<Range> ranges;
    std::uint64_t size;
    std::uint64_t numAllocs = 0;
    std::uint64_t hint = 0;

    explicit Model(std::uint32_t all) : ranges{{0, all}}, size(all) {}

    std::uint32_t Take(std::size_t i, std::uint32_t count) {
        const std::uint32_t id = ranges[i].begin;
        numAllocs += count;
        if (ranges[i].end - id == count) {
            ranges.erase(ranges.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ranges[i].begin += count;
        }
        return id;
    }
    std::uint32_t AllocAligned(std::uint32_t count, std::uint32_t alignment) {
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            const std::uint32_t over = ranges[i].begin % alignment;
            const std::uint32_t needed = count + (over == 0 ? 0 : alignment - over);
            if (static_cast<std::int32_t>(ranges[i].end - ranges[i].begin - needed) >= 0) {
                return Take(i, needed);
            }
        }
        return kInvalid;
    }
    std::uint32_t AllocBestFit(std::uint32_t count) {
        if (hint < ranges.size() && ranges[hint].end - ranges[hint].begin == count) {
            return Take(hint, count);
        }
        std::size_t best = ranges.size();
        std::int32_t least = 0;
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            const auto left = static_cast<std::int32_t>(ranges[i].end - ranges[i].begin - count);
            if (left >= 0 && (best == ranges.size() || left < least)) {
                best = i;
                least = left;
            }
        }
        return best < ranges.size() ? Take(best, count) : kInvalid;
    }
    void Free(std::uint32_t id, std::uint32_t count) {
        if (count == 0) {
            return;
        }
        const std::uint32_t end = id + count;
        numAllocs -= count;
        std::size_t i = 0;
        while (i < ranges.size() && ranges[i].begin < id) {
            ++i;
        }
        const bool isLast = i == ranges.size();
        const bool left = i > 0 && ranges[i - 1].end == id;
        const bool right = !isLast && ranges[i].begin == end;
        const auto place = ranges.begin() + static_cast<std::ptrdiff_t>(i);
        hint = 0;
        if (left && right) {
            ranges[i - 1].end = ranges[i].end;
            ranges.erase(place);
        } else if (left) {
            ranges[i - 1].end = end;
        } else if (right) {
            ranges[i].begin = id;
        } else {
            ranges.insert(place, {id, end});
            hint = i;
        }
        if (isLast) {
            hint = ranges.size() - 1;
        }
    }
    std::uint32_t MaxId() const {
        const bool isOpen = !ranges.empty() && ranges.back().end == size;
        return numAllocs == 0 ? kInvalid
               : isOpen       ? ranges.back().begin - 1
                              : static_cast<std::uint32_t>(size - 1);
    }
};

void ExpectEqual(const vCoalescentAllocator& ids, const Model& model, bool inFull) {
    ASSERT_EQ(ids.GetNumAllocs(), model.numAllocs);
    ASSERT_EQ(ids.GetNumFreeBlocks(), model.ranges.size());
    ASSERT_EQ(ids.GetMaxId(), model.MaxId());
    // Whole when nothing below the highest identifier is free.
    const bool isWhole = model.numAllocs == 0 || model.numAllocs == model.MaxId() + 1ULL;
    ASSERT_EQ(ids.GetFragmentation(), isWhole ? 0.0F : 1.0F);
    for (std::uint32_t i = 0; inFull && i <= model.ranges.size(); ++i) {
        std::uint32_t begin = 1;
        std::uint32_t end = 1;
        ids.GetFreeBlock(i, begin, end);
        ASSERT_EQ(begin, i < model.ranges.size() ? model.ranges[i].begin : 0) << i;
        ASSERT_EQ(end, i < model.ranges.size() ? model.ranges[i].end : 0) << i;
    }
}

struct Run {
    std::uint32_t id;
    std::uint32_t count;
};

// Checks `remap` by the meaning of it, and renumbers the live runs.
void Renumber(std::vector<Run>& live, const std::vector<vCoalescentAllocator::Remap>& remap) {
    std::sort(live.begin(), live.end(), [](const Run& a, const Run& b) { return a.id < b.id; });
    std::uint32_t next = 0;
    for (Run& run : live) {
        const auto after = std::find_if(remap.begin(), remap.end(),
                                        [&](const auto& r) { return r.from > run.id; });
        run.id -= after == remap.begin() ? 0 : std::prev(after)->shift;
        ASSERT_EQ(run.id, next);
        next += run.count;
    }
}

// Up to `mostLive` runs of up to `longest` identifiers.
void RunTrace(std::uint32_t seed, int steps, std::uint32_t size, std::uint32_t mostLive,
              std::uint32_t longest) {
    test::Random random(seed);
    vCoalescentAllocator ids(size);
    Model model(size);
    std::vector<Run> live;
    std::vector<vCoalescentAllocator::Remap> remap;
    std::uint32_t wanted = 0;
    for (int step = 0; step < steps; ++step) {
        if (step % 4096 == 0) {
            wanted = random(mostLive);
        }
        // Seven in eight move towards the wanted number of runs.
        if ((live.size() < wanted) == (random(8) != 0)) {
            const std::uint32_t count = 1 + random(random(4) == 0 ? longest : 4);
            const std::uint32_t alignment = 1 + random(64);
            const std::uint32_t kind = random(3);
            test::failNew = random(16) == 0;
            const std::uint32_t id = kind == 0   ? ids.Alloc(count)
                                     : kind == 1 ? ids.AllocAligned(count, alignment)
                                                 : ids.AllocBestFit(count);
            const bool couldFail = std::exchange(test::failNew, false);
            // Without memory to sort by length only the next step can tell.
            if (kind != 2 || id != kInvalid || !couldFail) {
                const std::uint64_t before = model.numAllocs;
                ASSERT_EQ(id, kind == 0   ? model.AllocAligned(count, 1)
                              : kind == 1 ? model.AllocAligned(count, alignment)
                                          : model.AllocBestFit(count))
                    << "step " << step;
                if (id != kInvalid) {
                    live.push_back({id, static_cast<std::uint32_t>(model.numAllocs - before)});
                }
            }
        } else if (!live.empty()) {
            std::swap(live[random(static_cast<std::uint32_t>(live.size()))], live.back());
            Run& run = live.back();
            const std::uint32_t part = random(8) == 0 ? random(run.count + 1) : run.count;
            const std::uint32_t id = run.id + run.count - part;
            bool isDone = true;
            test::failNew = random(16) == 0;
            try {
                ids.Free(id, part);
            } catch (const std::bad_alloc&) {
                isDone = false;
            }
            ASSERT_TRUE(isDone || test::failNew);
            test::failNew = false;
            if (isDone) {
                model.Free(id, part);
                run.count -= part;
            }
            if (run.count == 0) {
                live.pop_back();
            }
        }
        if (random(16384) == 0) {
            vCoalescentAllocator copy = ids;
            ExpectEqual(copy, model, true);
            if (random(4) == 0) {
                copy.DropAll();
                live.clear();
                model.numAllocs = 0;
                model.ranges = {{0, size}};
            } else {
                copy.Collapse(remap);
                Renumber(live, remap);
                model.ranges = {{static_cast<std::uint32_t>(model.numAllocs), size}};
            }
            ids = std::move(copy);
        }
        ExpectEqual(ids, model, step % 499 == 0);
        if (testing::Test::HasFatalFailure()) {
            return;
        }
    }
}

TEST(vCoalescentAllocator, FollowsItsModelOnRandomTraces) {
    for (const std::uint32_t seed : test::Seeds()) {
        SCOPED_TRACE(seed);
        RunTrace(seed, 300000, 400, 100, 40);          // full most of the time
        RunTrace(seed, 150000, 1 << 16, 1000, 300);    // two levels
        RunTrace(seed, 60000, 1U << 31, 20000, 1000);  // three, and the largest range
    }
}

TEST(vCoalescentAllocator, AnswersTheOddQuestions) {
    vCoalescentAllocator ids;
    EXPECT_EQ(ids.GetSize(), 1073741824U);
    EXPECT_EQ(ids.Alloc(0), kInvalid);
    EXPECT_EQ(ids.AllocBestFit(0), kInvalid);
    EXPECT_EQ(ids.Alloc((std::uint64_t{1} << 32) + 1), kInvalid);
    EXPECT_EQ(ids.AllocAligned(0, 16), 0U);
    EXPECT_EQ(ids.GetNumAllocs(), 0U);
    EXPECT_EQ(ids.Alloc(3), 0U);
    EXPECT_EQ(ids.AllocAligned(4, 16), 3U);
    EXPECT_EQ(ids.GetNumAllocs(), 20U);
    ids.Free(7, 0);
    EXPECT_EQ(ids.GetNumFreeBlocks(), 1U);

    std::vector<vCoalescentAllocator::Remap> remap{{1, 1}};
    vCoalescentAllocator full(10);
    EXPECT_EQ(full.Alloc(10), 0U);
    full.Collapse(remap);
    EXPECT_TRUE(remap.empty());
    EXPECT_EQ(full.GetMaxId(), 9U);
    full.Free(2, 2);
    full.Free(7, 3);
    full.Collapse(remap);
    ASSERT_EQ(remap.size(), 1U);
    EXPECT_EQ(remap[0].from, 4U);
    EXPECT_EQ(remap[0].shift, 2U);

    const vCoalescentAllocator taken = std::move(full);
    EXPECT_EQ(taken.GetNumAllocs(), 5U);
    vCoalescentAllocator none(0);
    for (vCoalescentAllocator* empty : {&none, &full}) {  // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(empty->GetSize(), 0U);
        EXPECT_EQ(empty->GetNumFreeBlocks(), 0U);
        EXPECT_EQ(empty->Alloc(1), kInvalid);
        EXPECT_EQ(empty->AllocBestFit(1), kInvalid);
        EXPECT_EQ(empty->AllocAligned(0, 1), kInvalid);
    }
}

}  // namespace
