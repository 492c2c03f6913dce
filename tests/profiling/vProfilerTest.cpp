#include "ZelREKernel/profiling/vProfiler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "ZelREKernel/profiling/vProfilerManager.h"
#include "ZelREKernel/profiling/vProfilerWithFlow.h"
#include "ZelREKernel/profiling/vScopedProfiler.h"
#include "support/ScopedCheckHandler.h"
#include "support/TempDir.h"
#include "support/Threads.h"

namespace {

using nlohmann::json;
using ZKL::vProfiler;
using ZKL::vProfilerManager;
using ZKL::vProfilerWithFlow;
using ZKL::vScopedProfiler;

class Profiler : public testing::Test {
protected:
    Profiler() { manager_.SetTraceDirectory(directory_.Path().string().c_str()); }
    ~Profiler() override { vProfilerManager::DestroyInstance(); }

    json ReadEvents() const {
        return json::parse(test::ReadFile(directory_.File("profiling.js")))["traceEvents"];
    }
    // The events of the file by phases, after a flush.
    std::vector<json> Flush(const std::string& phases) {
        EXPECT_TRUE(manager_.FlushProfiler());
        std::vector<json> found;
        for (const json& event : ReadEvents()) {
            if (phases.find(event["ph"].get<std::string>()) != std::string::npos) {
                found.push_back(event);
            }
        }
        return found;
    }
    // "B:name" and so on, in the order of the file.
    std::vector<std::string> FlushShort(const std::string& phases) {
        std::vector<std::string> found;
        for (const json& event : Flush(phases)) {
            found.push_back(event["ph"].get<std::string>() + ":" +
                            event["name"].get<std::string>());
        }
        return found;
    }

    test::TempDir directory_;
    vProfilerManager& manager_ = vProfilerManager::CreateInstance();
    const std::uint32_t outer_ = vProfiler::RegisterName("outer");
    const std::uint32_t inner_ = vProfiler::RegisterName("inner");
};

using Names = std::vector<std::string>;

TEST_F(Profiler, GivesEachTextOneHandleForEver) {
    // Enough for several of the table's segments, from several threads at once.
    constexpr int kTexts = 3000;
    std::vector<std::vector<std::uint32_t>> ids(8);
    test::OnThreads(8, [&](int thread) {
        for (int i = 0; i < kTexts; ++i) {
            const std::string text = "text " + std::to_string(i);
            const std::uint32_t id = vProfiler::RegisterName(text.c_str());
            ids[static_cast<std::size_t>(thread)].push_back(id);
            ASSERT_EQ(vProfiler::LookUpName(id), text);
        }
    });
    const char* const first = vProfiler::LookUpName(ids[0][0]);
    for (const auto& list : ids) {
        EXPECT_EQ(list, ids[0]);
    }
    EXPECT_EQ(std::set(ids[0].begin(), ids[0].end()).size(), std::size_t{kTexts});
    EXPECT_EQ(vProfiler::LookUpName(ids[0][0]), first);
    EXPECT_STREQ(vProfiler::LookUpName(vProfiler::kNone), "");
    EXPECT_STREQ(vProfiler::LookUpName(4000000000u), "");
    EXPECT_STREQ(vProfiler::LookUpName(vProfiler::RegisterName(nullptr)), "");
}

TEST_F(Profiler, RecordsWhatBeganWhileOnAndNothingElse) {
    { const vScopedProfiler off(outer_); }
    {
        const vScopedProfiler beganOff(outer_);
        manager_.TurnOn();
        {
            const vScopedProfiler beganOn(inner_);
            manager_.TurnOff();
            const vScopedProfiler beganOffAgain(outer_);
            vProfiler::RecordInstant(outer_);
            vProfiler::RecordFlowStart(1);
            vProfiler::RecordCounter(outer_, 1);
        }
        manager_.TurnOn();
    }
    manager_.TurnOff();
    EXPECT_EQ(FlushShort("BEistfC"), (Names{"B:inner", "E:inner"}));
}

TEST_F(Profiler, WritesEveryKindOfEvent) {
    const std::uint32_t arg = vProfiler::RegisterName("arg");
    const std::uint32_t category = vProfiler::RegisterName("gpu");
    manager_.TurnOn();
    vProfiler::RecordFrame(17);
    {
        const vScopedProfiler text(outer_, arg, "some text", category);
        const vScopedProfiler number(inner_, arg, 7u);
        vProfiler::RecordCounter(arg, 4000000000u);
        vProfiler::RecordInstant(arg, category);
    }
    manager_.TurnOff();
    const auto events = Flush("BECi");
    const json expected = json::parse(R"([
        {"ph":"i","name":"Frame","cat":"frame","args":{"frame":"17"},"s":"g"},
        {"ph":"B","name":"outer","cat":"gpu","args":{"arg":"some text"}},
        {"ph":"B","name":"inner","cat":"kernel","args":{"arg":"7"}},
        {"ph":"C","name":"arg","cat":"kernel","args":{"value":4000000000}},
        {"ph":"i","name":"arg","cat":"gpu","s":"g"},
        {"ph":"E","name":"inner","cat":"kernel"},
        {"ph":"E","name":"outer","cat":"gpu"}])");
    ASSERT_EQ(events.size(), expected.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        json event = events[i];
        EXPECT_EQ(event["tid"], vProfiler::GetThreadIndex());
        EXPECT_EQ(event["pid"], 0);
        event.erase("tid");
        event.erase("pid");
        event.erase("ts");
        EXPECT_EQ(event, expected[i]);
    }
}

TEST_F(Profiler, TiesFlowsToTheirSlices) {
    const std::uint32_t flow = vProfiler::RegisterName("flowName");
    EXPECT_EQ(vProfilerWithFlow(outer_, flow, vProfiler::kNone).GetFlowId(), vProfiler::kNone);
    EXPECT_EQ(vProfilerWithFlow(outer_, flow, 5).GetFlowId(), 5u);
    manager_.TurnOn();
    std::uint32_t id = vProfiler::kNone;
    {
        const vProfilerWithFlow start(outer_, flow, vProfiler::kNone,
                                      vProfilerWithFlow::eFlowStart);
        id = start.GetFlowId();
        vProfiler::RecordFlowStep(id);
    }
    { const vProfilerWithFlow step(inner_, flow, id, vProfilerWithFlow::eFlowStep); }
    { const vProfilerWithFlow end(outer_, flow, id); }
    {
        const vScopedProfiler scope(inner_);
        vProfiler::RecordFlowEnd(id);
    }
    EXPECT_NE(id, vProfiler::NextFlowId());
    manager_.TurnOff();
    EXPECT_EQ(FlushShort("BEstf"),
              (Names{"B:outer", "s:flow", "t:flow", "E:outer", "B:inner", "t:flow", "E:inner",
                     "f:flow", "B:outer", "E:outer", "B:inner", "t:flow", "E:inner"}));
    const auto events = Flush("Bstf");
    for (const json& event : events) {
        EXPECT_EQ(event["cat"], event["ph"] == "B" ? "kernel" : "flow");
        if (event["ph"] != "B") {
            EXPECT_EQ(event["id"], id);
        }
    }
    EXPECT_EQ(events[0]["args"]["flowName"], std::to_string(id));
    EXPECT_EQ(events[5]["ts"], events[6]["ts"]) << "a finish belongs to the slice after it";
}

TEST_F(Profiler, KeepsMetaDataForEveryFile) {
    test::ScopedCheckHandler failed;
    std::string name = "short-lived text";
    vProfiler::RecordMetaData(vProfiler::eThreadName, name.c_str(), 0);
    name.assign(name.size(), '?');
    vProfiler::RecordMetaData(vProfiler::eThreadSortIndex, "3", 9);
    EXPECT_TRUE(failed.Checks().empty());
    for (int file = 0; file < 2; ++file) {
        const auto events = Flush("M");
        std::map<std::string, json> byName;
        for (const json& event : events) {
            byName[event["name"]] = event;
        }
        EXPECT_TRUE(byName.contains("process_name"));
        EXPECT_EQ(byName["thread_name"]["args"]["name"], "short-lived text");
        EXPECT_EQ(byName["thread_name"]["cat"], "");
        EXPECT_EQ(byName["thread_name"]["tid"], vProfiler::GetThreadIndex());
        EXPECT_EQ(byName["thread_sort_index"]["args"]["name"], "3");
        EXPECT_EQ(byName["thread_sort_index"]["pid"], 9);
        EXPECT_EQ(Flush("M").size(), events.size()) << "written twice into one file";
        manager_.CloseTrace();
    }
    vProfiler::RecordMetaData(3, nullptr, 1);
    EXPECT_EQ(failed.Expressions(), (Names{"Unknown Metadata Type"}));
    EXPECT_EQ(Flush("M").back()["name"], "");
}

TEST_F(Profiler, KeepsRecordsWhenTheFileCannotBeOpened) {
    manager_.SetTraceDirectory(directory_.File("missing").c_str());
    manager_.TurnOn();
    { const vScopedProfiler scope(outer_); }
    manager_.TurnOff();
    EXPECT_FALSE(manager_.FlushProfiler());
    manager_.SetTraceDirectory(directory_.Path().string().c_str());
    EXPECT_EQ(FlushShort("BEi"), (Names{"B:outer", "E:outer"}));
}

// Checks that each thread's slices nest, and returns how many there are.
std::size_t CountNestedSlices(const json& events) {
    struct Thread {
        std::vector<std::string> open;
        std::int64_t last = 0;
        char lastEdge = ' ';
    };
    std::map<std::uint32_t, Thread> threads;
    std::size_t slices = 0;
    for (const json& event : events) {
        const char phase = event["ph"].get<std::string>()[0];
        if (phase == 'M') {
            continue;
        }
        Thread& thread = threads[event["tid"]];
        EXPECT_GE(event["ts"], thread.last);
        thread.last = event["ts"];
        if (phase == 'B') {
            thread.open.push_back(event["name"]);
            ++slices;
        } else if (phase == 'E') {
            EXPECT_FALSE(thread.open.empty());
            EXPECT_EQ(thread.open.back(), event["name"]);
            thread.open.pop_back();
        }
    }
    for (const auto& [tid, thread] : threads) {
        EXPECT_TRUE(thread.open.empty()) << tid;
    }
    return slices;
}

TEST_F(Profiler, LosesNothingWhileThreadsRecordAndOneFlushes) {
    constexpr int kRounds = 150;
    std::size_t expected = 0;
    manager_.TurnOn();
    for (const int count : test::kThreadCounts) {
        std::atomic<int> running{count};
        std::thread flusher([&] {
            while (running != 0) {
                EXPECT_TRUE(manager_.FlushProfiler());
            }
        });
        test::OnThreads(count, [&](int) {
            for (int i = 0; i < kRounds; ++i) {
                const vScopedProfiler a(outer_);
                const vProfilerWithFlow b(inner_, inner_, vProfiler::NextFlowId());
                vProfiler::RecordCounter(outer_, static_cast<std::uint32_t>(i));
            }
            --running;
        });
        flusher.join();
        expected += static_cast<std::size_t>(count) * kRounds * 2;
    }
    // A scope that is open when its thread's chunks change hands, and over several flushes.
    {
        const vScopedProfiler scope(outer_);
        ASSERT_TRUE(manager_.FlushProfiler());
    }
    ASSERT_TRUE(manager_.FlushProfiler());
    EXPECT_EQ(CountNestedSlices(ReadEvents()), expected + 1);
}

TEST_F(Profiler, SetsEdgesOfShortSlicesApart) {
    manager_.TurnOn();
    for (int i = 0; i < 10; ++i) {
        const vScopedProfiler a(outer_);
        const vScopedProfiler b(inner_);
    }
    manager_.TurnOff();
    const auto events = Flush("BE");
    ASSERT_EQ(events.size(), 40u);
    for (std::size_t i = 1; i < events.size(); ++i) {
        if (events[i]["ph"] != events[i - 1]["ph"]) {
            EXPECT_GT(events[i]["ts"], events[i - 1]["ts"]) << i;
        }
    }
    // In a long run of them true times go first: these edges take less than 1 us each.
    manager_.TurnOn();
    vProfiler::RecordInstant(outer_);
    for (int i = 0; i < 3000; ++i) {
        const vScopedProfiler a(outer_);
    }
    std::thread([this] { vProfiler::RecordInstant(inner_); }).join();
    manager_.TurnOff();
    const auto all = Flush("Ei");
    std::int64_t lastEnd = 0;
    std::int64_t after = 0;
    for (const json& event : all) {
        (event["ph"] == "E" ? lastEnd : after) = event["ts"];
    }
    EXPECT_LE(lastEnd, after + 100);
}

}  // namespace
