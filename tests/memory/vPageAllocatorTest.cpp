#include "ZelREKernel/memory/vPageAllocator.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "memory/FailingNew.h"
#include "memory/RecordingAllocator.h"
#include "memory/vDefaultPageAllocator.h"

namespace {

using ZKL::vDefaultPageAllocator;

TEST(vDefaultPageAllocator, AsksForWholePagesCutTo32Bits) {
    RecordingAllocator backing;
    backing.shrink = true;
    vDefaultPageAllocator pages(&backing);
    EXPECT_EQ(pages.GetPageSize(), 4194304U);
    const struct {
        std::uint32_t count;
        std::uint64_t pageSize;
        std::uint32_t asked;
    } cases[] = {{2, 0, 8388608},      {1, 4096, 4096},
                 {0, 4096, 0},         {1024, 0, 0},
                 {1025, 0, 4194304},   {3, std::uint64_t{1} << 32, 12582912},
                 {2, 0x100000010, 32}, {2, 0xffffffff, 0xfffffffe}};
    for (const auto& c : cases) {
        EXPECT_NE(pages.AllocatePages(1, c.count, c.pageSize), nullptr);
        EXPECT_EQ(backing.lastSize, c.asked);
        EXPECT_EQ(backing.lastAlignment, 128U);
    }
}

TEST(vDefaultPageAllocator, GivesAnOwnersBlocksBackTogether) {
    RecordingAllocator backing;
    {
        vDefaultPageAllocator pages(&backing);
        for (const std::uint64_t owner : {7U, 7U, 8U, 9U}) {
            std::memset(pages.AllocatePages(owner, 2, 512), 0xcd, 1024);
        }
        backing.fail = true;
        EXPECT_EQ(pages.AllocatePages(7, 1, 512), nullptr);
        backing.fail = false;
        pages.FreePages(1234);
        EXPECT_EQ(backing.live, 4);
        pages.FreePages(7);
        EXPECT_EQ(backing.live, 2);

        test::failNew = true;
        EXPECT_THROW(pages.AllocatePages(8, 1, 512), std::bad_alloc);
        test::failNew = false;
        EXPECT_EQ(backing.live, 2);
    }
    EXPECT_EQ(backing.live, 0);
}

// A leak checker sees whether destroying it frees what the owner still held.
TEST(DefaultPageAllocator, LivesUntilDestroyedAndAgain) {
    for (int life = 0; life < 2; ++life) {
        ZKL::vPageAllocator* const pages = ZKL::DefaultPageAllocator();
        EXPECT_EQ(ZKL::DefaultPageAllocator(), pages);
        void* const block = pages->AllocatePages(1, 2, 0);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 128, 0U);
        static_cast<char*>(block)[8388607] = 1;
        ZKL::DestroyAllocator();
    }
    ZKL::DestroyAllocator();
}

}  // namespace
