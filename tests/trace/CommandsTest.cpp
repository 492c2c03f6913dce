#include <ZelREKernel/profiling/vProfilerManager.h>
#include <ZelREKernel/profiling/vProfilerWithFlow.h>
#include <ZelREKernel/profiling/vScopedProfiler.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>

#include "JsonSyntax.h"
#include "TraceTexts.h"

namespace {

using nlohmann::json;
using test::TraceText;

TEST(TraceTool, ReadsItsCommandLine) {
    const struct {
        const char* line;
        const char* error;
    } cases[] = {
        {"", "no command"},
        {"chek a", "unknown command chek"},
        {"check", "check needs a trace"},
        {"diff a", "diff needs two traces"},
        {"frame a 1 2", "frame needs a trace, and at most one frame"},
        {"check --sort total a", "check has no option --sort"},
        {"summary -x a", "summary has no option -x"},
        {"summary a --sort", "--sort needs total, self, count, p50, p99, max or name"},
        {"summary a --sort p51", "--sort needs total, self, count, p50, p99, max or name"},
        {"summary a --top 3x", "--top needs a number"},
        {"report a --out", "--out needs a file"},
        {"report a --help", ""},
    };
    const test::Tool tool;
    for (const auto& c : cases) {
        const trace::Result result = tool.Run(c.line);
        EXPECT_EQ(result.status, trace::kUnusable);
        EXPECT_EQ(result.news, c.error);
    }
}

TEST(TraceTool, ChecksEachThing) {
    const struct {
        std::string text;
        const char* options;
        const char* said;
    } cases[] = {
        {TraceText({"M 1 0 Worker", "i 0 4 0", "B 1 5 a", "t 1 6 7", "B 1 6 b", "E 1 8 b",
                    "E 1 8 a", "B 0 1 a", "s 0 4 7", "E 0 6 a", "f 1 9 7", "B 1 9 c", "E 1 9 c"}),
         "",
         "event 7, thread 0:0, 1 us: goes back in time, from 4 us\n"
         "13 events, 2 threads, 4 slices, 1 flow, 1 frame, 1 fault\n"},
        {TraceText({"E 0 1 a", "B 0 2.25 a", "B 0 3 b", "E 0 4 a", "B 1 1 c\\u001b[1m"}), "",
         "event 0, thread 0:0, 1 us: slice \"a\" ends and was never begun\n"
         "event 3, thread 0:0, 4 us: slice \"a\" ends where \"b\" is the innermost\n"
         "thread 0:0: slice \"a\", begun at 2.25 us, never ends\n"
         "thread 0:1: slice \"c?[1m\", begun at 1 us, never ends\n"
         "5 events, 2 threads, 3 slices, 0 flows, 0 frames, 4 faults\n"},
        {TraceText({"s 0 1 1", "B 0 2 a", "s 0 2 1", "f 0 3 1", "E 0 4 a", "f 0 5 1", "B 0 6 a",
                    "E 0 7 a", "f 0 8 1"}),
         "--limit 4",
         "event 0, thread 0:0, 1 us: flow 1 is outside all slices\n"
         "event 3, thread 0:0, 3 us: flow 1 ends where no slice begins\n"
         "event 5, thread 0:0, 5 us: flow 1 ends where no slice begins\n"
         "event 8, thread 0:0, 8 us: flow 1 ends where no slice begins\n"
         "and 3 more\n"
         "9 events, 1 thread, 2 slices, 1 flow, 0 frames, 7 faults\n"},
        {TraceText({"B 0 1 a", "s 0 2 1", "t 0 2 2", "E 0 3 a"}), "",
         "4 events, 1 thread, 1 slice, 2 flows (2 loose), 0 frames, 0 faults\n"},
        {TraceText({"B 0 1 a", "s 0 2 1", "t 0 2 2", "E 0 3 a"}), "--strict",
         "event 1, thread 0:0, 2 us: flow 1 is started and goes nowhere\n"
         "event 2, thread 0:0, 2 us: flow 2 has no start before it\n"
         "4 events, 1 thread, 1 slice, 2 flows, 0 frames, 2 faults\n"},
        {R"([7, {"ts":1}, {"ph":"B"}, {"ph":"B","ts":1e99}, {"ph":"X","ts":1,"tid":"x"},
             {"ph":"\u001b","ts":1}, {"ph":"s","ts":1,"name":"n"}, {"ph":"BE","ts":1}])",
         "",
         "event 0: is no object\nevent 1: has no phase\nevent 2: has no time\n"
         "event 3: \"ts\" is no time\nevent 4: \"tid\" is no number\n"
         "event 5, thread 0:0, 1 us: a phase \"?\" that the profiler does not write\n"
         "event 6, thread 0:0, 1 us: a point of a flow without an id\n"
         "event 7: has no phase\n"
         "8 events, 1 thread, 0 slices, 0 flows, 0 frames, 8 faults\n"},
        {"[];\n", "",
         "line 1, byte 3: no JSON to the letter; viewers may refuse the trace\n"
         "0 events, 0 threads, 0 slices, 0 flows, 0 frames, 1 fault\n"},
        {"[]", "", "0 events, 0 threads, 0 slices, 0 flows, 0 frames, 0 faults\n"},
        {"{\"traceEvents\":[\n{\"ph\":\"B\",\"na", "",
         "a:2:11: Missing '}' or object member name\n{\"ph\":\"B\",\"na\n          ^\n"},
        {TraceText({"B 0 1 \xC3", "E 0 2 \xC3"}), "",
         "line 2, byte 42: no JSON to the letter; viewers may refuse the trace\n"
         "2 events, 1 thread, 1 slice, 0 flows, 0 frames, 1 fault\n"},
    };
    const test::Tool tool;
    for (const auto& c : cases) {
        tool.Write("a", c.text);
        const trace::Result result = tool.Run(std::string("check @a ") + c.options);
        const std::string said = tool.News(result);
        EXPECT_EQ(said, c.said);
        EXPECT_EQ(result.status, said.ends_with(" 0 faults\n") ? trace::kFine : trace::kFindings);
    }
}

TEST(TraceTool, SaysWhyAFileIsOfNoUse) {
    const test::Tool tool;
    tool.Write("empty", "");
    tool.Write("words", "once upon a time");
    tool.Write("cut", "[{\"ph\":\"B\"");
    tool.Write("faulty", TraceText({"B 0 1 a"}));
    tool.Write("other", "{\"events\":[]}");
    tool.Write("trailing", "[];");
    const struct {
        const char* line;
        const char* said;
        trace::Status status;
    } cases[] = {
        {"check @none", "zkl-trace: cannot open none: No such file or directory\n",
         trace::kUnusable},
        {"check @empty", "zkl-trace: empty: is empty\n", trace::kUnusable},
        {"unscramble @words", "zkl-trace: words: no trace, plain or scrambled\n", trace::kUnusable},
        {"diff @faulty @empty", "zkl-trace: empty: is empty\n", trace::kUnusable},
        {"check @other",
         "zkl-trace: other: no trace: neither an array of events nor an object with "
         "\"traceEvents\"\n",
         trace::kUnusable},
        {"report @faulty --out @faulty",
         "zkl-trace: faulty is the trace itself, which stays as it is\n", trace::kUnusable},
        {"frame @trailing",
         "zkl-trace: trailing has 1 fault; zkl-trace check tells more\n"
         "frame  begin  to the next  duration  last slice\n",
         trace::kFine},
        {"frame @faulty 3", "zkl-trace: faulty has no frame 3\n", trace::kUnusable},
        {"summary @faulty --top 0",
         "zkl-trace: faulty has 1 fault; zkl-trace check tells more\n"
         "name  count  total  self  p50  p99  max\n",
         trace::kFine},
        {"unscramble @cut", "zkl-trace: cut is not scrambled\n[{\"ph\":\"B\"", trace::kFine},
    };
    for (const auto& c : cases) {
        const trace::Result result = tool.Run(c.line);
        EXPECT_EQ(tool.News(result), c.said);
        EXPECT_EQ(result.status, c.status);
    }
    EXPECT_EQ(tool.Run("report @cut").status, trace::kUnusable);
}

// Accepts what another one does (no number can grow out of its range here): texts with a few
// characters changed, dropped or doubled.
TEST(TraceTool, KnowsJsonToTheLetter) {
    const std::string good =
        R"([{"a":[1,-0.5e+0,20E-1],"b\"\u00fF":{}},[],"\\ \/",true,false,null, {"":[[{}]]} ])";
    const std::string characters =
        "{}[],:\"\\/u0.-+eEtrfalsn \n\t\x01\xC2\xE0\xED\xF0\xF4\xA0\x90\x8F";
    ASSERT_TRUE(json::accept(good));
    std::mt19937 random(5);
    for (int round = 0; round < 6000; ++round) {
        std::string text = good;
        for (auto changes = random() % 3; changes > 0 && !text.empty(); --changes) {
            const std::size_t at = random() % text.size();
            const std::string put(random() % 3, characters[random() % characters.size()]);
            text.replace(at, random() % 2, put);
        }
        EXPECT_EQ(trace::FindSyntaxError(text) == std::string::npos, json::accept(text)) << text;
    }
    EXPECT_EQ(trace::FindSyntaxError(std::string(1000000, '[')), 1000000u);
}

// What the profiler writes is fine, and scrambling changes nothing but the look of the file.
TEST(TraceTool, ReadsWhatTheProfilerWrites) {
    const test::Tool tool;
    ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
    manager.SetEncryptionMode(ZKL::vProfilerManager::eEncryptionXOR);
    manager.SetTraceDirectory(tool.File("").c_str());
    const std::uint32_t outer = ZKL::vProfiler::RegisterName("outer");
    const std::uint32_t inner = ZKL::vProfiler::RegisterName("inner");
    manager.TurnOn();
    for (std::uint32_t i = 0; i < 300; ++i) {
        ZKL::vProfiler::RecordFrame(i);
        const ZKL::vProfilerWithFlow start(outer, outer, ZKL::vProfiler::kNone,
                                           ZKL::vProfilerWithFlow::eFlowStart);
        const ZKL::vProfilerWithFlow end(inner, outer, start.GetFlowId());
    }
    EXPECT_TRUE(manager.FlushProfiler());
    ZKL::vProfilerManager::DestroyInstance();

    const trace::Result check = tool.Run("check @profiling.js --strict");
    EXPECT_EQ(check.output,
              "2103 events, 1 thread, 600 slices, 300 flows, 300 frames, 0 faults; "
              "it was scrambled\n");
    const trace::Result plain = tool.Run("unscramble @profiling.js");
    EXPECT_EQ(plain.news, "");
    EXPECT_EQ(json::parse(plain.output)["traceEvents"].size(), 2103u);
    const json frames = json::parse(tool.Run("frame @profiling.js --json").output);
    ASSERT_EQ(frames.size(), 300u);
    EXPECT_EQ(frames[299]["frame"], "299");
    EXPECT_EQ(frames[299]["last"], "outer");
}

// Linear in time and level in stack: nesting twenty thousand deep, each slice wrongly ended, and
// one flow through all of them.
TEST(TraceTool, LivesWithExtremes) {
    constexpr int kDepth = 20000;
    std::string text = "[";
    for (int i = 0; i < kDepth; ++i) {
        text += test::EventText("B 0 " + std::to_string(i) + " b") + "," +
                test::EventText((i == 0 ? "s 0 " : "t 0 ") + std::to_string(i) + " 1") + ",";
    }
    for (int i = 0; i < kDepth; ++i) {
        text += test::EventText("E 0 " + std::to_string(kDepth + i) + " e") + ",";
    }
    text += test::EventText("i 0 0 first") + "]";
    const test::Tool tool;
    tool.Write("a", text);
    EXPECT_TRUE(tool.Run("check @a --limit 0")
                    .output.ends_with("20000 slices, 1 flow, 1 frame, 20001 faults\n"));
    EXPECT_NE(tool.Run("frame @a first").output.find("frame first, 39.999 ms"), std::string::npos);
    EXPECT_GT(tool.Run("report @a").output.size(), std::size_t{kDepth});
}

}  // namespace
