#include <MekHost/MekStatus.h>
#include <MekHost/system/MekEvent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/Threads.h"

namespace {

struct Events : std::vector<MekEvent*> {
    explicit Events(std::size_t count) : std::vector<MekEvent*>(count) {
        for (MekEvent*& event : *this) {
            event = CreateMekEvent(0);
        }
    }
    ~Events() {
        for (MekEvent* const event : *this) {
            delete event;
        }
    }
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    std::int32_t Wait(int waitAll, int timeout, unsigned* index = nullptr) const {
        return WaitForMultipleEvents(static_cast<unsigned>(size()), data(), waitAll, timeout,
                                     index);
    }
};

TEST(MekEvent, FindsTheLowestSignalledAndTimesOut) {
    const Events events(300);
    unsigned index = 77;
    for (const int timeout : {0, 1}) {
        EXPECT_EQ(events.Wait(0, timeout, &index), kMekTimeout);
        EXPECT_EQ(WaitForSingleEvent(events[0], timeout), kMekTimeout);
    }
    EXPECT_EQ(WaitForMultipleEvents(0, nullptr, 0, -1, &index), kMekInvalidParameter);
    EXPECT_EQ(WaitForMultipleEvents(0, nullptr, 1, -1, &index), kMekOk);
    EXPECT_EQ(index, 77u);
    for (const unsigned signalled : {299u, 40u, 0u}) {
        events[signalled]->Signal(0);
        EXPECT_EQ(events.Wait(0, -1, &index), kMekOk);
        EXPECT_EQ(index, signalled);
    }
}

// Every thread does a piece of work that is visible to whoever its event lets through.
TEST(MekEvent, WaitForAllSeesTheWorkBehindEverySignal) {
    for (const int threads : test::kThreadCounts) {
        const Events events(static_cast<std::size_t>(threads));
        std::vector<int> work(events.size(), 0);
        test::OnThreads(threads + 1, [&](int i) {
            if (i < threads) {
                work[static_cast<std::size_t>(i)] = 1;
                events[static_cast<std::size_t>(i)]->Signal(0);
                return;
            }
            EXPECT_EQ(events.Wait(1, -1), kMekOk);
            EXPECT_EQ(work, std::vector<int>(events.size(), 1));
        });
        events.back()->Reset();
        EXPECT_EQ(events.Wait(1, 1), kMekTimeout);
    }
}

// Servers wait for any request, answer it and wait again: a lost wake-up hangs the test.
TEST(MekEvent, WaitForAnyLosesNoWakeUp) {
    for (const int threads : test::kThreadCounts) {
        const Events requests(static_cast<std::size_t>(threads) + 1);
        const Events answers(requests.size());
        std::thread server([&] {
            unsigned index = 0;
            while (requests.Wait(0, -1, &index) == kMekOk && index + 1 < requests.size()) {
                requests[index]->Reset();
                answers[index]->Signal(0);
            }
        });
        test::OnThreads(threads, [&](int client) {
            const auto i = static_cast<std::size_t>(client);
            for (int round = 0; round < 2000 / threads; ++round) {
                requests[i]->Signal(0);
                WaitForSingleEvent(answers[i], -1);
                answers[i]->Reset();
            }
        });
        requests.back()->Signal(0);
        server.join();
    }
}

std::int32_t WaitEitherWay(bool any, MekEvent* event) {
    return any ? WaitForMultipleEvents(1, &event, 0, -1) : WaitForSingleEvent(event, -1);
}

// A signal lets every kind of waiter through, even if it is taken back at once.
TEST(MekEvent, AShortSignalLetsEveryWaiterThrough) {
    constexpr int kThreads = 8;
    const Events gate(1);
    std::atomic<int> passed{0};
    std::atomic<bool> stop{false};
    test::OnThreads(kThreads + 1, [&](int i) {
        while (i < kThreads && !stop) {
            EXPECT_EQ(WaitEitherWay(i % 2, gate[0]), kMekOk);
            ++passed;
        }
        while (i == kThreads && passed < 200) {
            gate[0]->Signal(0);
            gate[0]->Reset();
            std::this_thread::yield();
        }
        stop = true;
        gate[0]->Signal(0);
    });
}

// The waiter deletes the event at once, while the signalling thread may still be inside Signal().
TEST(MekEvent, MayBeDeletedByTheWaiterAtOnce) {
    std::atomic<MekEvent*> posted{nullptr};
    test::OnThreads(2, [&](int isWaiter) {
        for (int round = 0; round < 6000; ++round) {
            MekEvent* event = isWaiter ? CreateMekEvent(0) : nullptr;
            if (isWaiter) {
                posted = event;
                EXPECT_EQ(WaitEitherWay(round % 2, event), kMekOk);
                EXPECT_EQ(event->Reason(), round);
                delete event;
                continue;
            }
            while (!(event = posted.exchange(nullptr))) {
                std::this_thread::yield();
            }
            event->Signal(round);
        }
    });
}

}  // namespace
