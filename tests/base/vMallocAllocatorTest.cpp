#include "ZelREKernel/base/vMallocAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/ScopedCheckHandler.h"

namespace {

using ZKL::vMallocAllocator;

struct Aligner : vMallocAllocator {
    static std::uint32_t Align(std::uintptr_t p, std::uint32_t alignment, std::uint32_t offset) {
        return AlignImpl(reinterpret_cast<void*>(p), alignment, offset);
    }
};

TEST(vAllocator, AlignsByTheLow32BitsWithWrapAround) {
    const struct {
        std::uintptr_t p;
        std::uint32_t alignment, offset, distance;
    } cases[] = {
        {0x1000, 16, 0, 0},
        {0x1001, 16, 0, 15},
        {0x1000, 16, 4, 16},
        {0x1000, 1, 7, 7},
        {0x5fffffff9, 16, 0, 7},
        {0xfffffff0, 16, 0x20, 0x20},
        {0x100, 16, 0xffffff01, 0xffffff10},
        {0x7f0000000000, 1U << 31, 1, 1U << 31},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Aligner::Align(c.p, c.alignment, c.offset), c.distance) << c.p;
    }
}

TEST(vMallocAllocator, AlignsToTheLargerOfBothForAnySize) {
    for (std::uint32_t own = 1; own <= 1U << 16; own *= 4) {
        vMallocAllocator allocator(own);
        for (std::uint32_t asked : {0U, 1U, 2U, 16U, 64U, 256U, 1U << 20}) {
            const std::uintptr_t mask = std::max(own, asked) - 1;
            for (const std::uint32_t size : {0U, 1U, 1000U}) {
                void* const a = allocator.Allocate(size, asked);
                void* const b = allocator.Allocate(size, asked);
                ASSERT_TRUE(a && b && a != b) << own << " " << asked << " " << size;
                EXPECT_EQ(
                    (reinterpret_cast<std::uintptr_t>(a) | reinterpret_cast<std::uintptr_t>(b)) &
                        mask,
                    0U);
                std::memset(a, 1, size);
                allocator.Free(a);
                allocator.Free(b);
            }
        }
    }
    ZKL::DefaultAllocator()->Free(nullptr);
}

TEST(vMallocAllocator, ReportsAnImpossibleAlignment) {
    const test::ScopedCheckHandler sink;
    EXPECT_EQ(ZKL::DefaultAllocator()->Allocate(16, 24), nullptr);
    EXPECT_EQ(sink.Checks().size(), 1U);
}

}  // namespace
