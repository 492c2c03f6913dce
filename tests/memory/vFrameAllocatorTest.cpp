#include "ZelREKernel/memory/vFrameAllocator.h"

#include <MekHost/process/MekEnvironment.h>
#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <utility>

#include "ZelREKernel/memory/vAlignedAllocatorWrapper.h"
#include "ZelREKernel/memory/vAllocatorSwitch.h"
#include "ZelREKernel/memory/vLinearAllocator.h"
#include "ZelREKernel/memory/vMemoryResource.h"
#include "memory/FailingNew.h"
#include "memory/LiveBlocks.h"
#include "memory/RecordingAllocator.h"

namespace {

constexpr std::uint32_t kPage = 256;

using Impl = ZKL::detail::vFrameAllocatorImpl<ZKL::detail::vNullMutex, 1, 32>;

struct Arena : Impl {
    explicit Arena(ZKL::vAllocator* backing) : Impl(kPage, 64, backing) {}
};

class Backing : public RecordingAllocator {
public:
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override {
        ++requests;
        return last = RecordingAllocator::AllocateImpl(size, alignment);
    }
    int requests = 0;
    void* last = nullptr;
};

// What the allocator should do, step by step, and what it should ask of its backing allocator.
struct Model {
    struct Block {
        std::uintptr_t begin;
        std::uint32_t pages;
    };
    std::vector<Block> used, spare;
    std::uintptr_t next = 0;
    int oversized = 0;

    static std::uint32_t Pages(const std::vector<Block>& blocks) {
        std::uint32_t pages = 0;
        for (const Block& block : blocks) {
            pages += block.pages;
        }
        return pages;
    }

    // The block that was asked for, if any, is the last one of `backing`.
    std::uintptr_t Alloc(std::uint32_t size, std::uint32_t alignment, const Backing& backing,
                         int& requests) {
        std::uintptr_t p = test::RoundUp(next, alignment);
        if (used.empty() || next == 0 ||
            used.back().begin + used.back().pages * kPage <= p + size) {
            const std::uint32_t pages = size / kPage + (size % kPage != 0);
            std::size_t i = 0;
            while (i < spare.size() && spare[i].pages < pages) {
                ++i;
            }
            if (i == spare.size()) {
                ++requests;
                if (backing.last == nullptr) {
                    return 0;
                }
                EXPECT_EQ(backing.lastSize, pages * kPage);
                EXPECT_EQ(backing.lastAlignment, 64U);
                spare.push_back({reinterpret_cast<std::uintptr_t>(backing.last), pages});
            }
            // The chosen block and the first spare one change places.
            std::swap(spare[i], spare.front());
            used.push_back(spare.front());
            spare.erase(spare.begin());
            p = used.back().begin;
        }
        next = p + size;
        return p;
    }

    // How many blocks stay.
    std::size_t Reset() {
        const std::uint32_t owned = Pages(used) + Pages(spare);
        if (owned > 128 && Pages(used) <= 2 * owned / 3 && ++oversized == 33) {
            *this = {};
            return 0;
        }
        spare.insert(spare.begin(), used.begin(), used.end());
        used.clear();
        next = 0;
        return spare.size();
    }
};

void RunTrace(std::uint32_t seed, int steps) {
    test::Random random(seed);
    Backing backing;
    Arena arena(&backing);
    Model model;
    test::LiveBlocks live;
    int requests = 0;
    int releases = 0;
    for (int step = 0; step < steps; ++step) {
        if (random(256) == 0) {
            live.Cut(0);
            arena.Reset();
            ASSERT_EQ(backing.live, static_cast<int>(model.Reset()));
            releases += backing.live == 0;
            if (random(16) == 0) {  // moved there and back
                backing.fail = false;
                Arena other(&backing);
                ASSERT_NE(other.Alloc(1, 1), nullptr);
                ++requests;
                other = std::move(arena);
                arena = Arena(std::move(other));
            }
            continue;
        }
        // Few frames are large, so that most are oversized.
        const std::uint32_t size = random(step / 8192 % 8 == 0 ? 1500 : 150);
        const std::uint32_t alignment = 1U << random(7);
        backing.fail = random(8) == 0;
        test::failNew = random(8) == 0;
        const int before = backing.requests;
        void* p = arena.Alloc(size, alignment);
        test::failNew = false;
        if (p == nullptr && backing.requests == before) {
            backing.last = nullptr;  // no memory for the record: nothing was asked for
            backing.requests++;
        }
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p),
                  model.Alloc(size, alignment, backing, requests));
        ASSERT_EQ(backing.requests, requests) << "step " << step;
        if (p != nullptr) {
            live.Add(p, size);
        }
        arena.Free(p);
        if (step % 997 == 0) {
            ASSERT_TRUE(live.AreIntact()) << "step " << step;
        }
    }
    EXPECT_GT(releases, 0);
}

TEST(vFrameAllocator, FollowsItsModelOnRandomTraces) {
    for (const std::uint32_t seed : test::Seeds()) {
        SCOPED_TRACE(seed);
        RunTrace(seed, 500000);
    }
}

TEST(vFrameAllocator, HasPagesOf4MiBAndRefusesWhatNoAllocatorGives) {
    ZKL::vFrameAllocator arena;
    auto* const first = static_cast<char*>(arena.Alloc(10, 16));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 128, 0U);
    EXPECT_EQ(arena.Alloc(10, 16), first + 16);
    EXPECT_EQ(arena.Alloc(4194304 - 26 - 1, 1), first + 26);
    EXPECT_EQ(arena.Alloc(0xffffffff, 1), nullptr);
    EXPECT_EQ(arena.Alloc(0, 1), first + 4194303);
    EXPECT_NE(arena.Alloc(1, 1), first + 4194303);
    arena.Reset();
    EXPECT_EQ(arena.Alloc(10, 16), first);
}

constexpr bool kNewReachesLibrary = ZEL_NEW_REACHES_LIBRARY;

// A leak checker sees whether Reset and the destructors free the blocks.
TEST(Arenas, MakeHeapBlocksWhileCustomAllocatorsAreOff) {
    MekPutEnv("ZelDisableAllocators=1");
    ZKL::InitAllocator();
    ZKL::vLinearAllocator linear;  // needs no backend in this mode
    ZKL::vFrameAllocator frame;
    MekRemoveEnv("ZelDisableAllocators");
    MekPutEnv("ZelDisableAllocators=0");
    ZKL::InitAllocator();
    MekRemoveEnv("ZelDisableAllocators");
    ZKL::vFrameAllocator moved = std::move(frame);

    const auto exercise = [](auto& arena, auto&& between) {
        for (int round = 0; round < 2; ++round) {
            if (kNewReachesLibrary) {
                test::failNew = true;
                void* const p = arena.Alloc(100, 64);
                test::failNew = false;
                EXPECT_EQ(p, nullptr);
            }
            test::LiveBlocks live;
            for (int i = 0; i < 100; ++i) {
                void* const p = arena.Alloc(5000000, 64);
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0U);
                live.Add(p, 10);
                arena.Free(p);
            }
            between();
            EXPECT_TRUE(live.AreIntact());
            if (round == 0) {
                arena.Reset();
            }
        }
    };
    ZKL::vRewindPoint start;
    linear.GetRewindPoint(start);
    exercise(linear, [&] { linear.Rewind(start); });
    exercise(moved, [] {});
    if (!kNewReachesLibrary) {
        GTEST_SKIP() << "all but the failing heap: operator new of the library is its own here";
    }
}

TEST(ArenasDeathTest, PoisonWhatTheyTookBack) {
    if (!ZKL::detail::kAddressSanitizer) {
        GTEST_SKIP() << "the build has no address sanitizer";
    }
    ZKL::vFrameAllocator frame;
    ZKL::vLinearAllocator linear;
    linear.SetBackendAllocator(*ZKL::DefaultPageAllocator(), 1, 0);
    auto* const inFrame = static_cast<volatile char*>(frame.Alloc(24, 8));
    inFrame[23] = 1;
    EXPECT_DEATH(inFrame[24] = 1, "use-after-poison");
    frame.Reset();
    EXPECT_DEATH(inFrame[0] = 1, "use-after-poison");

    linear.Alloc(24, 8);
    ZKL::vRewindPoint point;
    linear.GetRewindPoint(point);
    auto* const inLinear = static_cast<volatile char*>(linear.Alloc(24, 8));
    inLinear[23] = 1;
    EXPECT_DEATH(inLinear[24] = 1, "use-after-poison");
    linear.Rewind(point);
    EXPECT_DEATH(inLinear[0] = 1, "use-after-poison");
    // A block is its backend's again when it is left, with what lay between allocations.
    auto* const gap = static_cast<volatile char*>(linear.Alloc(1, 8));
    linear.Alloc(8, 64);
    linear.Alloc(5000000, 8);
    gap[1] = 1;
    linear.Reset();
    ZKL::DestroyAllocator();
}

TEST(vMemoryResource, TakesContainersMemoryFromItsAllocator) {
    RecordingAllocator inner;
    ZKL::vMemoryResource resource(&inner);
    {
        std::pmr::vector<std::uint64_t> numbers(100, 1, &resource);
        EXPECT_EQ(inner.live, 1);
        EXPECT_EQ(inner.lastSize, 800U);
        EXPECT_EQ(inner.lastAlignment, 8U);
        std::pmr::vector<std::uint64_t> other(&resource);
        EXPECT_THROW(other.reserve(std::size_t{1} << 29), std::bad_alloc);
        EXPECT_EQ(inner.lastSize, 800U) << "4 GiB cannot be asked for";
        inner.fail = true;
        EXPECT_THROW(other.reserve(1), std::bad_alloc);
    }
    EXPECT_EQ(inner.live, 0);
    EXPECT_EQ(resource, ZKL::vMemoryResource(&inner));
    EXPECT_NE(resource, ZKL::vMemoryResource(ZKL::DefaultAllocator()));
    EXPECT_NE(resource, *std::pmr::new_delete_resource());
}

TEST(vMemoryResource, KeepsToLargeAlignments) {
    // An arena's block has no room for an alignment above its own.
    ZKL::vFrameAllocator frame(4096, 16);
    ZKL::vMemoryResource resource(&frame);
    for (const std::size_t alignment : {32U, 256U, 4096U}) {
        auto* const p = static_cast<char*>(resource.allocate(4096 - 16, alignment));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignment, 0U);
        std::memset(p, 1, 4096 - 16);
    }
    // Two different alignments have no bit in common, which leaves this one with the heap's.
    RecordingAllocator inner;
    ZKL::vAlignedAllocatorWrapper wrapper(&inner, 64);
    ZKL::vMemoryResource careless(&wrapper);
    void* kept[8] = {};
    for (void*& p : kept) {
        try {
            p = careless.allocate(32, 2048);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 2048, 0U);
        } catch (const std::bad_alloc&) {
        }
    }
    EXPECT_LT(inner.live, 8) << "eight blocks of the heap, all at multiples of 2048";
    for (void* const p : kept) {
        if (p != nullptr) {
            careless.deallocate(p, 32, 2048);
        }
    }
    EXPECT_EQ(inner.live, 0);
}

}  // namespace
