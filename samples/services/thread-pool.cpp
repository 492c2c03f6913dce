// A pool of threads for jobs of the host's interface, first in first out.
#include <atomic>
#include <cstdio>
#include <memory>

#include <MekHost/system/MekEvent.h>
#include <MekHost/system/RudSysJob.h>
#include <ZelREKernel/ZelREKernel.h>

namespace {

std::atomic<int> s_loaded = 0;

class LoadJob final : public RudSysJob {
private:
    std::int32_t Execute() override {
        ++s_loaded;
        return 0;
    }
};

}  // namespace

int main() {
    const std::unique_ptr<MekEvent> last(CreateMekEvent(0));
    ZKL::vThreadPool pool(1);
    for (int file = 0; file < 10; ++file) {
        auto* const job = new LoadJob;  // the task takes it over
        if (file == 9) {
            job->SetWaitingEvent(last.get());  // signalled when the job is done
        }
        pool.AddTask(ZKL::vRefPtr<ZKL::TP::vTask>(new ZKL::TP::vTask(job)));
    }
    WaitForSingleEvent(last.get(), -1);
    std::printf("%d files loaded\n", s_loaded.load());
    pool.Stop();
    return 0;
}
