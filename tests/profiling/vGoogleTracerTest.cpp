#include "ZelREKernel/profiling/vGoogleTracer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "ZelREKernel/profiling/vCryptoTools.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vZeloProfilerUtil.h"
#include "profiling/Chunks.h"
#include "support/ScopedCheckHandler.h"

namespace {

using ZKL::vGoogleTracer;
using ZKL::vProfiler;
using ZKL::vTraceRecord;

constexpr std::uint32_t kNone = vTraceRecord::kNone;

vTraceRecord Named(const std::string& name, char phase = 'B') {
    vTraceRecord record;
    record.nameId = vProfiler::RegisterName(name.c_str());
    record.phase = phase;
    return record;
}

std::string Write(const std::vector<vTraceRecord>& records, vGoogleTracer::Options options = {}) {
    Chunks chunks;
    vGoogleTracer::WriteRecords(records.data(), records.size(), chunks.GetSink(), options);
    return chunks.Join();
}

// The length of the event that Named gives a name of `length` letters, without a comma before it.
constexpr std::size_t kBareEvent =
    std::size(R"({"ph":"B","name":"","cat":"","pid":0,"tid":0,"ts":0})") - 1;

std::string NameForEvent(std::size_t length, char letter = 'x') {
    return std::string(length - kBareEvent, letter);
}

TEST(vGoogleTracer, WritesEveryMemberToTheByte) {
    const std::uint32_t name = vProfiler::RegisterName("draw");
    const std::uint32_t category = vProfiler::RegisterName("gpu");
    const std::uint32_t n = vProfiler::RegisterName("n");
    const vTraceRecord::Value seven{.number = 7};
    const vTraceRecord::Value big{.number = 4294967295u};
    const vTraceRecord::Value text{.text = "a \"b\"\\\n"};
    const vTraceRecord::Value object{.text = "{\"k\":[1]}"};
    const std::string head = R"({"ph":"B","name":"draw","cat":"gpu","pid":)";
    const struct {
        vTraceRecord record;
        std::int64_t start;
        std::string expected;
    } cases[] = {
        {{category, name, kNone, seven, 12, 3, 4, kNone, 2, 'B'},
         2,
         head + R"(3,"tid":4,"ts":10})"},
        {{category, name, n, seven, 0, 0, 0, kNone, 1, 'B'},
         0,
         head + R"(0,"tid":0,"ts":0,"args":{"n":"7"}})"},
        {{category, name, kNone, big, 99, 100, 4294967295u, 4294967294u, 1, 'B'},
         0,
         head + R"(100,"tid":4294967295,"ts":99,"args":{"":"4294967295"}, "id":4294967294})"},
        {{category, name, n, text, 5, 0, 0, 0, 0, 'B'},
         0,
         head + "0,\"tid\":0,\"ts\":5,\"args\":{\"n\":\"a \"b\"\\\n\"}, \"id\":0}"},
        {{category, name, kNone, object, 5, 0, 0, kNone, 0, 'B'},
         0,
         head + R"(0,"tid":0,"ts":5,"args":{"k":[1]}})"},
        {{kNone, kNone, n, seven, 1, 0, 0, 8, 77, 'i'},
         0,
         R"({"ph":"i","name":"","cat":"","pid":0,"tid":0,"ts":1,"s":"g", "id":8})"},
        {{category, name, n, seven, 1, 0, 0, kNone, 1, 'i'},
         0,
         R"({"ph":"i","name":"draw","cat":"gpu","pid":0,"tid":0,"ts":1,"args":{"n":"7"},"s":"g"})"},
    };
    for (const auto& each : cases) {
        vGoogleTracer::BeginFile();
        EXPECT_EQ(Write({each.record}, {.startTime = each.start}), each.expected);
    }
}

TEST(vGoogleTracer, WritesNumbersOfEveryLength) {
    std::vector<std::int64_t> times = {0,
                                       2147483646,
                                       2147483647,
                                       2147483648,
                                       4294967295,
                                       4294967296,
                                       std::numeric_limits<std::int64_t>::max()};
    for (std::int64_t power = 10; power <= 1000000000; power *= 10) {
        times.insert(times.end(), {power - 1, power, power + 1});
    }
    for (const std::int64_t time : times) {
        vTraceRecord record = Named("t");
        record.timestamp = time;
        record.pid = static_cast<std::uint32_t>(time);
        vGoogleTracer::BeginFile();
        const std::string text = Write({record});
        EXPECT_NE(text.find("\"ts\":" + std::to_string(time) + "}"), std::string::npos) << text;
        EXPECT_NE(text.find("\"pid\":" + std::to_string(record.pid) + ","), std::string::npos)
            << text;
    }
}

TEST(vGoogleTracer, SeparatesEventsOfOneFile) {
    const std::vector<vTraceRecord> one = {Named("a")};
    vGoogleTracer::BeginFile();
    EXPECT_EQ(Write({}), "");
    EXPECT_EQ(Write(one).front(), '{');
    EXPECT_EQ(Write(one).substr(0, 3), ",\n{");
    vGoogleTracer::BeginFile();
    EXPECT_EQ(Write(one).front(), '{');
}

TEST(vGoogleTracer, WritesOutPastTheThreshold) {
    // A chunk ends with the event that passes the threshold, and what remains follows, be it
    // nothing.
    const std::string tail = R"({"ph":"B","name":"tail","cat":"","pid":0,"tid":0,"ts":0})";
    const std::size_t threshold = vGoogleTracer::kChunkThreshold;
    for (const std::size_t length : {threshold, threshold + 1}) {
        vGoogleTracer::BeginFile();
        Chunks chunks;
        const vTraceRecord records[] = {Named(NameForEvent(length)), Named("tail")};
        vGoogleTracer::WriteRecords(records, 2, chunks.GetSink(), {});
        ASSERT_EQ(chunks.list.size(), 2u);
        EXPECT_EQ(chunks.list[1], length > threshold ? ",\n" + tail : "");
    }
    Chunks nothing;
    vGoogleTracer::WriteRecords(nullptr, 0, nothing.GetSink(), {});
    EXPECT_EQ(nothing.list, std::vector<std::string>{""});
}

TEST(vGoogleTracer, WritesEventsLongerThanTheBuffer) {
    const std::string longText(100000, 'l');
    const std::string longName(20000, 'n');
    vTraceRecord record = Named(longName);
    record.argNameId = vProfiler::RegisterName("text");
    record.argKind = vTraceRecord::eArgText;
    record.value.text = longText.c_str();
    std::vector<vTraceRecord> records(40, Named("short"));
    records.insert(records.begin() + 20, record);
    vGoogleTracer::BeginFile();
    const auto events = nlohmann::json::parse("[" + Write(records) + "]");
    ASSERT_EQ(events.size(), records.size());
    EXPECT_EQ(events[20]["name"], longName);
    EXPECT_EQ(events[20]["args"]["text"], longText);
    EXPECT_EQ(events[40]["name"], "short");
}

TEST(vGoogleTracer, ScramblesWholeWordsAndRestoresThem) {
    const vGoogleTracer::Options scrambled{.isScrambled = true,
                                           .key = ZKL::vZeloProfilerUtil::kKey};
    std::vector<vTraceRecord> records;
    for (int i = 0; i < 500; ++i) {
        records.push_back(Named("event " + std::to_string(i)));
    }
    vGoogleTracer::BeginFile();
    const std::string plain = Write(records);
    vGoogleTracer::BeginFile();
    Chunks chunks;
    vGoogleTracer::WriteOpening(chunks.GetSink(), scrambled);
    EXPECT_EQ(chunks.list[0].size(), 20u);
    vGoogleTracer::WriteRecords(records.data(), records.size(), chunks.GetSink(), scrambled);
    vGoogleTracer::WriteClosing(chunks.GetSink(), scrambled);
    for (const std::string& chunk : chunks.list) {
        EXPECT_EQ(chunk.size() % 4, 0u);
    }
    std::string text = chunks.Join();
    EXPECT_EQ(text.find("event"), std::string::npos);
    ZKL::vZeloProfilerUtil::Encrypt(text.data(), text.size());
    EXPECT_EQ(text.substr(0, 20), "{\"traceEvents\":[\n   ");
    EXPECT_EQ(nlohmann::json::parse(text)["traceEvents"], nlohmann::json::parse("[" + plain + "]"));

    // Ten bytes: the key's bytes lie lowest first, and only whole words change.
    std::string ten("\0\0\0\0\0\0\0\0ab", 10);
    ZKL::vZeloProfilerUtil::Encrypt(ten.data(), ten.size());
    EXPECT_EQ(ten, std::string("\xE4\xC3\x17\x5A\xE4\xC3\x17\x5A"
                               "ab"));
}

TEST(vGoogleTracer, DropsScrambledChunksThatAreTooLong) {
    test::ScopedCheckHandler failed;
    const vGoogleTracer::Options scrambled{.isScrambled = true, .key = 1};
    for (const std::size_t length : {8188u, 8189u, 8192u, 8193u, 50000u}) {
        const bool isKept = length <= vGoogleTracer::kMaxChunk;
        vGoogleTracer::BeginFile();
        const std::vector<vTraceRecord> monster = {Named(NameForEvent(length))};
        EXPECT_EQ(Write(monster, scrambled).size(), isKept ? (length + 3) / 4 * 4 : 0) << length;
        EXPECT_EQ(failed.Checks().size(), isKept ? 0u : 1u) << length;
        failed.Clear();
        // The file goes on with a comma only behind what is really in it.
        EXPECT_EQ(Write({Named("a")}).front(), isKept ? ',' : '{') << length;
    }
    // The chunk that a long event ends goes with it, the ones around it stay.
    vGoogleTracer::BeginFile();
    std::string text =
        Write({Named(NameForEvent(7000)), Named(NameForEvent(2000)), Named("z")}, scrambled);
    ZKL::vCryptoTools::CypherXOR(text.data(), text.size(), 1);
    EXPECT_EQ(nlohmann::json::parse(text)["name"], "z");
    ASSERT_EQ(failed.Checks().size(), 1u);
    EXPECT_EQ(failed.Checks()[0].expression, "length <= iMaxLength");
    EXPECT_EQ(failed.Checks()[0].path, "src/vGoogleTracer");
    EXPECT_EQ(failed.Checks()[0].line, 194);
}

}  // namespace
