#include <gtest/gtest.h>

#include <system_error>

#include "NoThreads.h"
#include "ZelREKernel/tasks/vWorkerThread.h"

namespace {

using ZKL::vWorkerThread;

TEST(vWorkerThreadSystem, ReportsThatThereIsNoThread) {
    vWorkerThread worker;
    {
        const test::NoThreads none;
        for (const bool pool : {false, true}) {
            std::error_code code;
            try {
                pool ? worker.RunPool(2) : worker.RunSingle();
            } catch (const std::system_error& error) {
                code = error.code();
            }
            EXPECT_EQ(code, std::errc::resource_unavailable_try_again);
        }
    }
    worker.RunSingle();
    worker.WaitForPendingTasks();
}

}  // namespace
