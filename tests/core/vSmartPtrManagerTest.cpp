#include "ZelREKernel/core/vSmartPtrManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using ZKL::vSmartPtrLink;
using ZKL::vSmartPtrManager;

std::vector<vSmartPtrLink*> Take(vSmartPtrManager& pool, std::size_t count) {
    std::vector<vSmartPtrLink*> links(count);
    for (vSmartPtrLink*& link : links) {
        link = pool.GetFreeLink();
    }
    return links;
}

TEST(vSmartPtrManager, CarvesBlocksInOrderAndReusesFirst) {
    vSmartPtrManager pool;
    const std::vector<vSmartPtrLink*> first = Take(pool, 256);
    EXPECT_EQ(pool.GetBlockCount(), 1U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first[0]) % 16, 0U);
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i], first[0] + i);
    }
    vSmartPtrLink* const next = pool.GetFreeLink();
    EXPECT_EQ(pool.GetBlockCount(), 2U);
    EXPECT_EQ(pool.GetUsedLinkCount(), 257U);

    first[3]->weak = 7;
    first[3]->strong = 7;
    pool.ReleaseLink(first[3]);
    pool.ReleaseLink(first[9]);
    pool.ReleaseLink(nullptr);
    EXPECT_EQ(Take(pool, 3), (std::vector{first[9], first[3], next + 1}));
    EXPECT_EQ(first[3]->object, nullptr);
    EXPECT_EQ(first[3]->strong + first[3]->weak, 0U);
}

// A leak checker sees whether the links go back to the heap one by one.
TEST(vSmartPtrManager, WorksWithoutPooling) {
    vSmartPtrManager pool(0);
    for (vSmartPtrLink* const link : Take(pool, 3)) {
        ASSERT_NE(link, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(link) % 16, 0U);
        pool.ReleaseLink(link);
    }
    EXPECT_EQ(pool.GetBlockCount() + pool.GetUsedLinkCount(), 0U);
}

}  // namespace
