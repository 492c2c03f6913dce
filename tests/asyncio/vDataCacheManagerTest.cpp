#include "ZelREKernel/asyncio/vDataCacheManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "ZelREKernel/core/vSmartPtrManager.h"

namespace {

bool IsFilled(ZKL::vCacheData& data, std::uint64_t from, std::uint64_t to, std::uint8_t value) {
    return std::all_of(data.GetData(from), data.GetData(from) + (to - from),
                       [=](std::uint8_t byte) { return byte == value; });
}

TEST(vDataCacheManager, BlocksAreZeroKeepTheirStartAndEndWithTheirLastOwner) {
    ZKL::vDataCacheManager& manager = ZKL::vDataCacheManager::GetInstance();
    EXPECT_EQ(&manager, &ZKL::vDataCacheManager::GetInstance());
    const std::uint32_t links = ZKL::vSmartPtrManager::GetInstance().GetUsedLinkCount();
    for (const std::uint64_t size : {0u, 1u, 16u, 100000u}) {
        const auto data = manager.Open(size);
        EXPECT_EQ(data->GetReferenceCount(), 1);
        EXPECT_EQ(data->GetSize(), size);
        EXPECT_EQ(data->GetData(size), nullptr);
        EXPECT_TRUE(size == 0 || IsFilled(*data, 0, size, 0));
        std::fill_n(data->GetData(0), size, std::uint8_t{7});
        EXPECT_TRUE(data->Resize(2 * size + 16));
        EXPECT_TRUE(size == 0 || IsFilled(*data, 0, size, 7));
        EXPECT_TRUE(IsFilled(*data, size, 2 * size + 16, 0));
        // What a smaller block gave up is zero when it comes back.
        EXPECT_TRUE(data->Resize(size / 2) && data->Resize(size));
        EXPECT_TRUE(size == 0 || IsFilled(*data, size / 2, size, 0));
        EXPECT_THROW(data->Resize(~std::uint64_t{0}), std::length_error);
        EXPECT_EQ(data->GetSize(), size);
        data->Flush();
    }
    EXPECT_THROW(manager.Open(~std::uint64_t{0}), std::length_error);
    EXPECT_EQ(ZKL::vSmartPtrManager::GetInstance().GetUsedLinkCount(), links);
}

}  // namespace
