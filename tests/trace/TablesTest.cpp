#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

#include "CriticalPath.h"
#include "Statistics.h"
#include "TraceReader.h"
#include "TraceTexts.h"

namespace {

using nlohmann::json;
using test::TraceText;

TEST(TraceTables, SummariseNames) {
    const test::Tool tool;
    tool.Write("a", TraceText({"B 0 0 outer", "B 0 1 in", "E 0 3 in", "B 0 3 in", "E 0 8 in",
                               "E 0 1000 outer", "B 1 0 in", "E 1 40 in"}));
    EXPECT_EQ(tool.Run("summary @a").output,
              "name   count  total   self    p50    p99    max\n"
              "outer      1  1.000  0.993  1.000  1.000  1.000\n"
              "in         3  0.047  0.047  0.005  0.040  0.040\n");
    EXPECT_EQ(json::parse(tool.Run("summary @a --json --sort count --top 1").output),
              json::parse(R"([{"name":"in","count":3,"total":47000,"self":47000,"p50":5000,
                               "p99":40000,"max":40000}])"));
}

TEST(TraceTables, PercentilesAreThoseOfTheSortedList) {
    std::mt19937 random(7);
    for (std::size_t count = 1; count < 300; ++count) {
        std::vector<std::int64_t> values(count);
        std::generate(values.begin(), values.end(), [&] { return random() % 50; });
        std::vector<std::int64_t> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        for (const unsigned percent : {1u, 50u, 99u, 100u}) {
            // The first that enough of the values do not exceed.
            const auto enough = [&](std::int64_t value) {
                const auto below = std::upper_bound(sorted.begin(), sorted.end(), value);
                return (below - sorted.begin()) * 100 >=
                       static_cast<std::ptrdiff_t>(count * percent);
            };
            EXPECT_EQ(trace::Percentile(values, percent),
                      *std::find_if(sorted.begin(), sorted.end(), enough));
        }
    }
}

TEST(TraceTables, CompareTraces) {
    const test::Tool tool;
    tool.Write("old", TraceText({"i 0 0 0", "B 0 0 same", "E 0 5 same", "B 0 5 less", "E 0 45 less",
                                 "B 0 50 lost", "E 0 51 lost"}));
    tool.Write("new", TraceText({"i 0 0 0", "B 0 0 same", "E 0 5 same", "i 0 20 1", "B 0 25 less",
                                 "E 0 35 less", "B 0 40 found", "E 0 43 found"}));
    EXPECT_EQ(
        tool.Run("diff @old @new").output,
        "name   count old  new  total old    new  change          p50 old    new  p99 old    new\n"
        "less           1    1      0.040  0.010  -0.030  -75.0%    0.040  0.010    0.040  0.010\n"
        "found          0    1      0.000  0.003  +0.003     new    0.000  0.003    0.000  0.003\n"
        "lost           1    0      0.001  0.000  -0.001    gone    0.001  0.000    0.001  0.000\n"
        "same           1    1      0.005  0.005   0.000   +0.0%    0.005  0.005    0.005  "
        "0.005\n");
    const json rows = json::parse(tool.Run("diff @old @new --per-frame --json --top 1").output);
    EXPECT_EQ(rows, json::parse(R"([{"name":"less",
        "old":{"count":1,"total":40000,"p50":40000,"p99":40000},
        "new":{"count":0.5,"total":5000,"p50":10000,"p99":10000}}])"));
}

// The main thread launches a frame by a flow and waits; a worker that was busy takes it up and
// hands it to a second one, whose job's end releases a last job that no flow leads to.
TEST(TraceTables, FollowTheCriticalPath) {
    const test::Tool tool;
    tool.Write("a", TraceText({"M 0 0 Main",    "M 1 0 One",    "M 2 0 Two",     "B 1 0 before",
                               "i 0 10 0",      "B 0 10 frame", "B 0 12 launch", "s 0 12 1",
                               "E 0 15 launch", "B 0 16 Wait",  "E 1 30 before", "B 1 31 job",
                               "t 1 32 1",      "B 1 35 part",  "E 1 40 part",   "E 1 45 job",
                               "f 2 50 1",      "B 2 50 job",   "E 2 60 job",    "B 1 61 last",
                               "E 1 80 last",   "E 0 82 Wait",  "E 0 83 frame",  "i 0 100 1"}));
    EXPECT_EQ(tool.Run("frame @a").output,
              "frame  begin  to the next  duration  last slice\n"
              "0      0.010        0.090     0.073       frame\n"
              "1      0.100        0.000     0.000\n"
              "duration: p50 0.000, p99 0.073\n");
    EXPECT_EQ(tool.Run("frame @a 0 --path").output,
              "frame 0, 0.073 ms, ends with \"frame\"\n"
              "slice               at  duration  thread       by\n"
              "before           0.000     0.020     One\n"
              "(idle)           0.020     0.001     One\n"
              "job              0.021     0.004     One\n"
              "part             0.025     0.005     One\n"
              "job              0.030     0.005     One\n"
              "(wait for job)   0.035     0.005     Two     flow\n"
              "job              0.040     0.010     Two\n"
              "(idle)           0.050     0.001     One  release\n"
              "last             0.051     0.019     One\n"
              "(wait for Wait)  0.070     0.002    Main  release\n"
              "frame            0.072     0.001    Main\n");
    EXPECT_EQ(tool.Run("frame @a slowest --wait frame --top 2").output,
              "frame 0, 0.073 ms, ends with \"frame\"\n"
              "name       steps  on the path\n"
              "Wait           1        0.066  90.4%\n"
              "(waiting)      3        0.004   5.5%\n");
}

// Whatever the trace, a path fills its frame without gap or overlap.
TEST(TraceTables, CriticalPathsFillTheirFrames) {
    std::mt19937 random(11);
    for (int round = 0; round < 150; ++round) {
        std::string text = "[" + test::EventText("i 0 0 0");
        int time = 0;
        std::vector<int> depths(4);
        for (int i = 0; i < 200; ++i) {
            const std::size_t thread = random() % depths.size();
            time += static_cast<int>(random() % 3);
            const std::string place =
                " " + std::to_string(thread) + " " + std::to_string(time) + " ";
            const auto kind = random() % 8;
            if (kind < 3) {
                text += "," + test::EventText("B" + place + (kind == 0 ? "wait" : "b"));
                ++depths[thread];
            } else if (kind < 6 && depths[thread] > 0) {
                text += "," + test::EventText("E" + place + "b");
                --depths[thread];
            } else {
                const char* const phase = kind == 5 ? "f" : kind == 6 ? "s" : "t";
                text += "," + test::EventText(phase + place + std::to_string(random() % 10));
            }
        }
        trace::Trace trace;
        trace::Faults faults(0);
        std::string error;
        ASSERT_TRUE(trace::ReadTrace(text + "]", trace, faults, error)) << error;
        const std::vector<trace::Frame> frames = trace::FindFrames(trace);
        ASSERT_EQ(frames.size(), 1u);
        std::int64_t at = frames[0].begin;
        for (const trace::Segment& segment : trace::CriticalPath(trace, "wait").Find(frames[0])) {
            ASSERT_EQ(segment.begin, at) << text;
            ASSERT_GT(segment.end, at) << text;
            at = segment.end;
        }
        EXPECT_EQ(at, frames[0].end);
    }
}

}  // namespace
