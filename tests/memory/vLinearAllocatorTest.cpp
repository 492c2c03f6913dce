#include "ZelREKernel/memory/vLinearAllocator.h"

#include <gtest/gtest.h>

#include <map>
#include <new>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "memory/LiveBlocks.h"

namespace {

constexpr std::uint32_t kPage = 256;

struct Call {
    char what;  // 'A'llocate or 'F'ree
    std::uint64_t key;
    std::uint64_t pages;
    bool operator==(const Call&) const = default;
};

// Pages from the heap; remembers what it was asked for.
class Backend final : public ZKL::vPageAllocator {
public:
    enum EMood { eWilling, eNull, eThrow };

    ~Backend() {
        while (!blocks.empty()) {
            FreePages(blocks.begin()->first);
        }
    }
    void* AllocatePages(std::uint64_t owner, std::uint32_t count, std::uint64_t pageSize) override {
        EXPECT_EQ(pageSize, 0U);
        calls.push_back({'A', owner, count});
        if (mood == eThrow) {
            throw std::bad_alloc();
        }
        last = mood == eNull ? nullptr : ZKL::DefaultAllocator()->Allocate(count * kPage, 128);
        if (last != nullptr) {
            blocks.emplace(owner, last);
        }
        return last;
    }
    void FreePages(std::uint64_t owner) override {
        calls.push_back({'F', owner, 0});
        const auto [begin, end] = blocks.equal_range(owner);
        for (auto block = begin; block != end; ++block) {
            ZKL::DefaultAllocator()->Free(block->second);
        }
        blocks.erase(begin, end);
    }
    std::uint32_t GetPageSize() override { return kPage; }

    EMood mood = eWilling;
    std::vector<Call> calls;
    void* last = nullptr;
    std::multimap<std::uint64_t, void*> blocks;
};

// What the allocator should do, step by step, and what it should ask of its backend.
struct Model {
    std::uint64_t key;
    std::uintptr_t next = 0;
    std::uintptr_t end = 0;
    std::size_t live = 0;

    // The block that was asked for, if any, is the last one of `backend`.
    std::uintptr_t Alloc(std::uint32_t size, std::uint32_t alignment, const Backend& backend,
                         std::vector<Call>& calls) {
        std::uintptr_t p = test::RoundUp(next, alignment);
        if (end <= p + size) {
            const std::uint32_t pages = size / kPage + (size % kPage != 0);
            calls.push_back({'A', key, pages});
            if (backend.mood != Backend::eWilling) {
                return 0;
            }
            p = reinterpret_cast<std::uintptr_t>(backend.last);
            end = p + pages * kPage;
        }
        next = p + size;
        return p;
    }
};

void RunTrace(std::uint32_t seed, int steps) {
    test::Random random(seed);
    constexpr std::uint64_t kFirstKey = std::uint64_t{7} << 40;
    Backend backend;
    ZKL::vLinearAllocator arena;
    arena.SetBackendAllocator(backend, kFirstKey, 99);
    test::LiveBlocks live;
    Model model{kFirstKey};
    std::vector<std::pair<ZKL::vRewindPoint, Model>> points;
    std::vector<Call> expected;
    for (int step = 0; step < steps; ++step) {
        backend.calls.clear();
        expected.clear();
        const std::uint32_t choice = random(1000);
        if (choice < 900) {
            const std::uint32_t size = random(choice < 20 ? 2000 : 100);
            const std::uint32_t alignment = 1U << random(8);
            backend.mood =
                choice % 10 != 0 ? Backend::eWilling : static_cast<Backend::EMood>(random(3));
            void* const p =
                choice % 2 != 0 ? arena.Alloc(size, alignment) : arena.Allocate(size, alignment);
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p),
                      model.Alloc(size, alignment, backend, expected));
            if (p != nullptr) {
                live.Add(p, size);
            }
            arena.Free(p);
        } else if (choice < 950) {
            model.live = live.Count();
            arena.GetRewindPoint(points.emplace_back(ZKL::vRewindPoint(), model).first);
            ++model.key;
        } else if (choice < 995 && !points.empty()) {
            const std::size_t back = random(static_cast<std::uint32_t>(points.size()));
            arena.Rewind(points[back].first);
            for (const Model& to = points[back].second; model.key > to.key; --model.key) {
                expected.push_back({'F', model.key, 0});
            }
            model = points[back].second;
            points.resize(back);
            live.Cut(model.live);
        } else if (choice >= 995) {
            for (std::uint64_t key = kFirstKey; model.end != 0 && key <= model.key; ++key) {
                expected.push_back({'F', key, 0});
            }
            arena.Reset();
            // Without a block Reset leaves the keys alone.
            model = {model.end != 0 ? kFirstKey : model.key};
            live.Cut(0);
            points.clear();
        }
        ASSERT_EQ(backend.calls, expected) << "step " << step;
        if (step % 997 == 0) {
            ASSERT_TRUE(live.AreIntact()) << "step " << step;
        }
    }
    arena.Reset();
    EXPECT_TRUE(backend.blocks.empty());
}

TEST(vLinearAllocator, FollowsItsModelOnRandomTraces) {
    for (const std::uint32_t seed : test::Seeds()) {
        SCOPED_TRACE(seed);
        RunTrace(seed, 500000);
    }
}

}  // namespace
