// A signal to a waiting thread and one back: two events against a mutex and condition variables,
// with the waiter hot (it waits again at once) and asleep (it sleeps before the signal comes).

#include <MekHost/system/MekEvent.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace {

class HostEvent {
public:
    void Signal() { event_->Signal(0); }
    void WaitAndReset() {
        WaitForSingleEvent(event_.get(), -1);
        event_->Reset();
    }

private:
    std::unique_ptr<MekEvent> event_{CreateMekEvent(0)};
};

class ConditionEvent {
public:
    void Signal() {
        const std::lock_guard guard(mutex_);
        isSignalled_ = true;
        condition_.notify_all();
    }
    void WaitAndReset() {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return isSignalled_; });
        isSignalled_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool isSignalled_ = false;
};

template <typename Event, int kPauseUs>
void RoundTrip(benchmark::State& state) {
    Event there;
    Event back;
    bool stop = false;
    std::thread peer([&] {
        for (;;) {
            there.WaitAndReset();
            if (stop) {
                return;
            }
            back.Signal();
        }
    });
    for (auto _ : state) {
        if (kPauseUs) {
            std::this_thread::sleep_for(std::chrono::microseconds(kPauseUs));
        }
        const auto start = std::chrono::steady_clock::now();
        there.Signal();
        back.WaitAndReset();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    stop = true;
    there.Signal();
    peer.join();
}

constexpr int kHot = 0;
constexpr int kAsleep = 200;

BENCHMARK(RoundTrip<HostEvent, kHot>)->Name("event_hot/ours")->UseManualTime();
BENCHMARK(RoundTrip<ConditionEvent, kHot>)->Name("event_hot/mutex_condvar")->UseManualTime();
BENCHMARK(RoundTrip<HostEvent, kAsleep>)
    ->Name("event_asleep/ours")
    ->UseManualTime()
    ->Iterations(3000);
BENCHMARK(RoundTrip<ConditionEvent, kAsleep>)
    ->Name("event_asleep/mutex_condvar")
    ->UseManualTime()
    ->Iterations(3000);

}  // namespace
