#pragma once

// A fixture that ends with as many task nodes, jobs and lists alive as it began with. Threads that
// a test starts must be joined by its end.

#include <gtest/gtest.h>

#include "ZelREKernel/tasks/vTaskRecordCounts.h"

class TaskLeakCheck : public testing::Test {
protected:
    void SetUp() override {
        nodes_ = ZKL::vTaskDetail::CountNodeRecords().live;
        jobs_ = ZKL::vTaskDetail::CountJobRecords().live;
        lists_ = ZKL::vTaskDetail::CountListRecords().live;
    }
    void TearDown() override {
        EXPECT_EQ(ZKL::vTaskDetail::CountNodeRecords().live, nodes_);
        EXPECT_EQ(ZKL::vTaskDetail::CountJobRecords().live, jobs_);
        EXPECT_EQ(ZKL::vTaskDetail::CountListRecords().live, lists_);
    }

private:
    std::int64_t nodes_ = 0;
    std::int64_t jobs_ = 0;
    std::int64_t lists_ = 0;
};
