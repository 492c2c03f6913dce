#include "profiling/ThreadRecords.h"

#include <gtest/gtest.h>

#include <string>

#include "ZelREKernel/base/vMallocAllocator.h"

namespace {

using ZKL::RecordChunk;
using ZKL::ThreadRecords;
using ZKL::vTraceRecord;

class LimitedAllocator : public ZKL::vAllocator {
public:
    void* AllocateImpl(std::uint32_t size, std::uint32_t alignment) override {
        if (left == 0) {
            return nullptr;
        }
        --left;
        ++allocations;
        ++alive;
        return heap_.Allocate(size, alignment);
    }
    void FreeImpl(void* p) override {
        alive -= p ? 1 : 0;
        heap_.Free(p);
    }

    int left = 1000000;
    int allocations = 0;
    int alive = 0;

private:
    ZKL::vMallocAllocator heap_;
};

class ThreadRecordsTest : public testing::Test {
protected:
    ~ThreadRecordsTest() override {
        if (records_) {
            ThreadRecords::Delete(records_);
        }
        EXPECT_EQ(allocator_.alive, 0);
    }

    bool Record(char phase) {
        vTraceRecord* slot = phase == 'E' ? &records_->ClaimEnd() : records_->Claim();
        if (slot) {
            slot->phase = phase;
            slot->timestamp = 1000 * static_cast<std::int64_t>(++recorded_);
            records_->Publish();
            if (phase == 'B') {
                records_->CountOpenScope();
            }
        }
        return slot;
    }
    std::string Read() {
        std::string phases;
        records_->BeginReading();
        while (records_->Front()) {
            phases += records_->PopFront().phase;
        }
        return phases;
    }

    LimitedAllocator allocator_;
    ThreadRecords* records_ = ThreadRecords::Create(allocator_, 0);
    std::size_t recorded_ = 0;
};

TEST_F(ThreadRecordsTest, AllocatesNothingInTheSteadyState) {
    // Sizes on either side of the chunks' edges, more than a flush keeps spare at the end.
    for (const std::uint32_t size :
         {1u, RecordChunk::kCapacity - 1, RecordChunk::kCapacity, RecordChunk::kCapacity * 5 + 3}) {
        int allocations = 0;
        for (int round = 0; round < 50; ++round) {
            for (std::uint32_t i = 0; i < size; ++i) {
                ASSERT_TRUE(Record('i'));
            }
            EXPECT_EQ(Read(), std::string(size, 'i'));
            if (round == 10) {
                allocations = allocator_.allocations;
            }
        }
        EXPECT_EQ(allocator_.allocations, allocations) << size;
    }
}

TEST_F(ThreadRecordsTest, EndsEveryScopeWhenMemoryRunsOut) {
    // However many allocations succeed, and however deep scopes nest: what began also ends.
    for (int left = 0; left < 40; ++left) {
        for (const int depth : {1, 100, 2000}) {
            ThreadRecords::Delete(records_);
            allocator_.left = 2;
            records_ = ThreadRecords::Create(allocator_, 0);
            ASSERT_TRUE(records_);
            allocator_.left = left;
            std::string expected;
            for (int round = 0; round < 20; ++round) {
                int open = 0;
                while (open < depth && Record('B')) {
                    ++open;
                }
                expected += std::string(static_cast<std::size_t>(open), 'B');
                for (; open > 0; --open) {
                    ASSERT_TRUE(Record('E'));
                    expected += 'E';
                }
            }
            EXPECT_EQ(Read(), expected) << left << " allocations, " << depth << " deep";
            // With memory back, it records again.
            allocator_.left = 1000000;
            EXPECT_TRUE(Record('B'));
            EXPECT_TRUE(Record('E'));
            EXPECT_EQ(Read(), "BE");
        }
    }
    for (allocator_.left = 0; allocator_.left < 2;) {
        const int left = allocator_.left;
        EXPECT_FALSE(ThreadRecords::Create(allocator_, 0));
        allocator_.left = left + 1;
    }
    allocator_.left = 1000000;
}

}  // namespace
