#include <MekHost/MekStatus.h>
#include <MekHost/system/MekEvent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>
#include <thread>
#include <vector>

#include "support/Threads.h"

namespace {

using Event = std::unique_ptr<MekEvent>;

Event Make(int initialState = 0) {
    return Event(CreateMekEvent(initialState));
}

std::vector<MekEvent*> Pointers(const std::vector<Event>& events) {
    std::vector<MekEvent*> pointers;
    for (const Event& event : events) {
        pointers.push_back(event.get());
    }
    return pointers;
}

std::vector<Event> MakeMany(std::size_t count) {
    std::vector<Event> events(count);
    for (Event& event : events) {
        event = Make();
    }
    return events;
}

TEST(MekEvent, KeepsItsStateAndItsReason) {
    const Event event = Make(1);
    EXPECT_TRUE(event->IsSignalled());
    EXPECT_EQ(WaitForSingleEvent(event.get(), 0), kMekOk);
    EXPECT_EQ(WaitForSingleEvent(event.get(), -1), kMekOk);
    EXPECT_EQ(event->Reset(), kMekOk);
    EXPECT_EQ(event->Reset(), kMekOk);
    EXPECT_FALSE(event->IsSignalled());
    EXPECT_EQ(WaitForSingleEvent(event.get(), 0), kMekTimeout);
    EXPECT_EQ(WaitForSingleEvent(event.get(), 1), kMekTimeout);
    EXPECT_EQ(event->Signal(7), kMekOk);
    EXPECT_EQ(event->Signal(-8), kMekOk);
    EXPECT_EQ(event->Reason(), -8);
    EXPECT_EQ(WaitForSingleEvent(event.get(), 1), kMekOk);
}

TEST(MekEvent, AnswersMisuseWithAStatus) {
    const Event signalled = Make(1);
    MekEvent* const withNull[] = {signalled.get(), nullptr};
    unsigned index = 77;
    EXPECT_EQ(WaitForSingleEvent(nullptr, 0), kMekInvalidParameter);
    for (const int timeout : {-2, INT_MIN}) {
        EXPECT_EQ(WaitForSingleEvent(signalled.get(), timeout), kMekInvalidParameter);
        EXPECT_EQ(WaitForMultipleEvents(1, withNull, 0, timeout, &index), kMekInvalidParameter);
        EXPECT_EQ(WaitForMultipleEvents(0, nullptr, 1, timeout), kMekInvalidParameter);
    }
    for (const int waitAll : {0, 1}) {
        EXPECT_EQ(WaitForMultipleEvents(2, withNull, waitAll, 0, &index), kMekInvalidParameter);
        EXPECT_EQ(WaitForMultipleEvents(1, nullptr, waitAll, 0, &index), kMekInvalidParameter);
    }
    EXPECT_EQ(WaitForMultipleEvents(0, withNull, 0, -1, &index), kMekInvalidParameter);
    EXPECT_EQ(WaitForMultipleEvents(0, withNull, 1, -1, &index), kMekOk);
    EXPECT_EQ(index, 77u);
}

// Every thread does a piece of work that is visible to whoever its event lets through.
TEST(MekEvent, WaitForAllSeesTheWorkBehindEverySignal) {
    for (const int threads : test::kThreadCounts) {
        const auto count = static_cast<unsigned>(threads);
        const std::vector<Event> events = MakeMany(count);
        const std::vector<MekEvent*> all = Pointers(events);
        std::vector<int> work(count, 0);
        test::OnThreads(threads + 1, [&](int i) {
            if (i < threads) {
                work[static_cast<std::size_t>(i)] = 1;
                all[static_cast<std::size_t>(i)]->Signal(0);
                return;
            }
            EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 1, -1), kMekOk);
            EXPECT_EQ(work, std::vector<int>(count, 1));
        });
        events.back()->Reset();
        EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 1, 0), kMekTimeout);
        EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 1, 1), kMekTimeout);
    }
}

// Servers wait for any request, answer it and wait again: a lost wake-up hangs the test.
TEST(MekEvent, WaitForAnyLosesNoWakeUp) {
    for (const int threads : test::kThreadCounts) {
        const auto count = static_cast<unsigned>(threads);
        const std::vector<Event> requests = MakeMany(count + 1);
        const std::vector<Event> answers = MakeMany(count);
        const std::vector<MekEvent*> all = Pointers(requests);
        std::thread server([&] {
            unsigned index = 0;
            while (WaitForMultipleEvents(count + 1, all.data(), 0, -1, &index) == kMekOk &&
                   index < count) {
                requests[index]->Reset();
                answers[index]->Signal(0);
            }
        });
        test::OnThreads(threads, [&](int client) {
            const auto i = static_cast<std::size_t>(client);
            for (int round = 0; round < 2000 / threads; ++round) {
                requests[i]->Signal(0);
                WaitForSingleEvent(answers[i].get(), -1);
                answers[i]->Reset();
            }
        });
        requests.back()->Signal(0);
        server.join();
    }
}

TEST(MekEvent, WaitForAnyFindsTheLowestAndTimesOut) {
    const std::vector<Event> events = MakeMany(300);
    std::vector<MekEvent*> all = Pointers(events);
    all.push_back(all.front());  // the same event twice
    const auto count = static_cast<unsigned>(all.size());
    unsigned index = 77;
    EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 0, 0, &index), kMekTimeout);
    EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 0, 1, &index), kMekTimeout);
    EXPECT_EQ(index, 77u);
    for (const unsigned signalled : {299u, 40u, 0u}) {
        events[signalled]->Signal(0);
        EXPECT_EQ(WaitForMultipleEvents(count, all.data(), 0, -1, &index), kMekOk);
        EXPECT_EQ(index, signalled);
    }
}

// A signal lets every kind of waiter through, even if it is taken back at once.
TEST(MekEvent, AShortSignalLetsEveryWaiterThrough) {
    constexpr int kRounds = 50;
    for (const int threads : test::kThreadCounts) {
        const Event gate = Make();
        std::atomic<int> passed{0};
        std::atomic<bool> stop{false};
        test::OnThreads(threads + 1, [&](int i) {
            MekEvent* const event = gate.get();
            while (i < threads && !stop) {
                EXPECT_EQ(
                    i % 2 ? WaitForMultipleEvents(1, &event, 0, -1) : WaitForSingleEvent(event, -1),
                    kMekOk);
                ++passed;
            }
            while (i == threads && passed < kRounds + threads) {
                gate->Signal(0);
                gate->Reset();
                std::this_thread::yield();
            }
            stop = true;
            gate->Signal(0);
        });
    }
}

// The waiter deletes the event at once, while the signalling thread may still be inside Signal().
TEST(MekEvent, MayBeDeletedByTheWaiterAtOnce) {
    constexpr int kRounds = 3000;
    for (const bool any : {false, true}) {
        std::atomic<MekEvent*> posted{nullptr};
        std::thread signaller([&] {
            for (int round = 0; round < kRounds; ++round) {
                MekEvent* event = nullptr;
                while (!(event = posted.exchange(nullptr))) {
                    std::this_thread::yield();
                }
                event->Signal(round);
            }
        });
        for (int round = 0; round < kRounds; ++round) {
            MekEvent* const event = CreateMekEvent(0);
            posted = event;
            EXPECT_EQ(any ? WaitForMultipleEvents(1, &event, 0, -1) : WaitForSingleEvent(event, -1),
                      kMekOk);
            EXPECT_EQ(event->Reason(), round);
            delete event;
        }
        signaller.join();
    }
}

}  // namespace
