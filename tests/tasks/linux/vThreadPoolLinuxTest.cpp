#include <MekHost/system/MekEvent.h>
#include <MekHost/system/RudSysJob.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <filesystem>
#include <iterator>
#include <memory>

#include "ZelREKernel/tasks/vThreadPool.h"
#include "support/WaitUntil.h"

namespace {

class NameJob final : public RudSysJob {
public:
    explicit NameJob(char (&name)[16]) : name_(name) {}

private:
    std::int32_t Execute() override {
        return pthread_getname_np(pthread_self(), name_, sizeof name_);
    }
    char (&name_)[16];
};

std::ptrdiff_t CountThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(vThreadPoolThreads, AreNamedAndGoWithThePool) {
    // The first pool brings up the threads that a sanitizer keeps for itself.
    ZKL::vThreadPool(8).Stop();
    const std::ptrdiff_t before = CountThreads();
    for (int round = 0; round < 20; ++round) {
        char name[16] = "";
        const std::unique_ptr<MekEvent> done(CreateMekEvent(0));
        ZKL::vThreadPool pool(8);
        auto* const job = new NameJob(name);
        job->SetWaitingEvent(done.get());
        pool.AddTask(ZKL::vRefPtr<ZKL::TP::vTask>(new ZKL::TP::vTask(job)));
        WaitForSingleEvent(done.get(), -1);
        EXPECT_STREQ(name, "Thread Pool");
    }
    // The system shows a joined thread for a moment longer.
    EXPECT_TRUE(test::WaitUntil([before] { return CountThreads() <= before; }));
}

}  // namespace
