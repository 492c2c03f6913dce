#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <system_error>

#include "ZelREKernel/tasks/vWorkerThread.h"

namespace {

using ZKL::vWorkerThread;

// A stack larger than the address space: no thread is to be had.
TEST(vWorkerThreadSystem, ReportsThatThereIsNoThread) {
    pthread_attr_t usual;
    pthread_attr_t impossible;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_init(&impossible);
    ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 48), 0);
    ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
    vWorkerThread worker;
    for (const bool pool : {false, true}) {
        std::error_code code;
        try {
            pool ? worker.RunPool(2) : worker.RunSingle();
        } catch (const std::system_error& error) {
            code = error.code();
        }
        EXPECT_EQ(code, std::errc::resource_unavailable_try_again);
    }
    pthread_setattr_default_np(&usual);
    pthread_attr_destroy(&usual);
    worker.RunSingle();
    worker.WaitForPendingTasks();
}

}  // namespace
