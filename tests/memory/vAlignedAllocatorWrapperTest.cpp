#include "ZelREKernel/memory/vAlignedAllocatorWrapper.h"

#include <gtest/gtest.h>

#include "memory/RecordingAllocator.h"

namespace {

TEST(vAlignedAllocatorWrapper, PassesThePinnedAlignmentOrTheCommonBits) {
    RecordingAllocator inner;
    ZKL::vAlignedAllocatorWrapper original(&inner, 16);
    ZKL::vAlignedAllocatorWrapper copy(nullptr, 1);
    copy = original;
    for (const auto& [asked, passed] : {std::pair(0U, 16U), {16U, 16U}, {32U, 0U}, {8U, 0U}}) {
        void* const p = copy.Allocate(24, asked);
        EXPECT_NE(p, nullptr);
        EXPECT_EQ(inner.lastAlignment, passed) << asked;
        EXPECT_EQ(inner.lastSize, 24U);
        original.Free(p);
    }
    EXPECT_EQ(inner.live, 0);
    inner.fail = true;
    EXPECT_EQ(copy.Allocate(24, 16), nullptr);
}

}  // namespace
