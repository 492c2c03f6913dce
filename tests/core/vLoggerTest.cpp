#include "ZelREKernel/core/vLogger.h"

#include <MekHost/process/MekEnvironment.h>
#include <MekHost/process/MekStartProcess.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <list>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerLifeCycle.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "core/CollectingOutput.h"
#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

using ZKL::vLogger;
using ZKL::vLoggerLifeCycle;
using ZKL::vLoggerManager;

ZKL_PRINTF_FORMAT(3, 4)
void Log(vLogger& logger, vLogger::FLogLevel level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    logger.Log(level, format, arguments);
    va_end(arguments);
}

// What the compiler would refuse of Log.
void LogWithoutFormat(vLogger& logger, int last, ...) {
    const char* volatile format = nullptr;
    std::va_list arguments;
    va_start(arguments, last);
    logger.Log(vLogger::eError, format, arguments);
    va_end(arguments);
}

vLogger& Channel(int type) {
    return vLoggerManager::GetInstance().GetLogger(static_cast<vLoggerManager::Type>(type));
}

// Runs core-child and returns its exit code.
int RunChild(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), ZEL_TEST_BIN_DIR "/core-child");
    arguments.push_back(nullptr);
    int result = -1;
    int error = -1;
    EXPECT_EQ(MekStartProcess(arguments[0], arguments.data(), true, result, error), 0) << error;
    return result;
}

TEST(vLogger, FiltersAndDecorates) {
    test::Collected collected;
    vLogger logger(new test::CollectingOutput(&collected), vLogger::eFlushEachMessage,
                   vLogger::eInfo, false);
    Log(logger, vLogger::eError, "off at first");
    logger.BeginLog();
    const char* const kNames[] = {"DEBUG", "WARNING", "PROFILING", "INFO", "ERROR", "RELEASE"};
    for (int level = -1; level <= 7; ++level) {
        const auto value = static_cast<vLogger::FLogLevel>(level);
        const char* const name = vLogger::ConvertLogLevelToString(value);
        if (level < 0 || level > 5) {
            EXPECT_EQ(name, nullptr) << level;
        } else {
            EXPECT_STREQ(name, kNames[level]);
        }
        Log(logger, value, "%d%%", level);
    }
    logger.EndLog();
    Log(logger, vLogger::eError, "off again");
    EXPECT_EQ(collected.Texts(),
              (std::vector<std::string>{"[INFO]\t : 3%\n", "[ERROR]\t : 4%\n", "[RELEASE]\t : 5%\n",
                                        "[]\t : 6%\n", "[]\t : 7%\n"}));
}

TEST(vLogger, FormatsTextsOfEveryLength) {
    test::Collected collected;
    vLogger logger(new test::CollectingOutput(&collected), vLogger::eFlushEachMessage,
                   vLogger::eDebug, false);
    logger.BeginLog();
    std::vector<std::string> expected;
    for (const std::size_t length : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 65536u, 3000000u}) {
        const std::string text(length, 'x');
        Log(logger, vLogger::eDebug, "%s|%d", text.c_str(), 42);
        expected.push_back("[DEBUG]\t : " + text + "|42\n");
    }
    Log(logger, vLogger::eDebug, "a%cb", 0);
    expected.emplace_back("[DEBUG]\t : a\0b\n", 15);
    EXPECT_TRUE(collected.Texts() == expected);  // too long to be printed
}

TEST(vLogger, FormatsAsTheCLibraryDoes) {
    test::Collected collected;
    vLogger logger(new test::CollectingOutput(&collected), vLogger::eFlushEachMessage,
                   vLogger::eRelease, false);
    logger.BeginLog();
    char text[2048];
    std::vector<std::string> expected;
// A format text has to stand in the call for the compiler to check it.
#define EXPECT_SAME(...)                                             \
    std::snprintf(text, sizeof(text), "[RELEASE]\t : " __VA_ARGS__); \
    expected.push_back(std::string(text) + "\n");                    \
    Log(logger, vLogger::eRelease, __VA_ARGS__)
    EXPECT_SAME("%d %i %u %x|%%|%c%s%s", INT_MIN, -1, UINT_MAX, 0xBEEFu, 'c', "", "text");
    EXPECT_SAME("%ld %li %lu %lx", LONG_MIN, LONG_MAX, ULONG_MAX, 0xABCDEFul);
    EXPECT_SAME("%lld %lli %llu %llx", LLONG_MIN, LLONG_MAX, ULLONG_MAX, 1ull << 63);
    EXPECT_SAME("%zu %zx %d", SIZE_MAX, SIZE_MAX, 0);
    EXPECT_SAME("%d %5d|%-5d|%05d|%+d|%d", 1, 2, 3, 4, 5, 6);
    EXPECT_SAME("%s %.3s %*s %d", "abcdef", "abcdef", 9, "abcdef", 7);
    EXPECT_SAME("%d %f %.2f %g %e %s", 1, 1.5, 2.25, 1e-9, 1e9, "last");
    EXPECT_SAME("%d %hd %hhx %X %o %jd %td", 1, short{2}, 0x3, 0xABC, 8, intmax_t{5}, ptrdiff_t{6});
    EXPECT_SAME("%s %ls %lc", "narrow", L"wide", wint_t{'w'});
#undef EXPECT_SAME
    EXPECT_EQ(collected.Texts(), expected);
}

TEST(vLogger, KeepsItsTextUntilItMayBeFlushed) {
    const test::TempDir directory;
    vLogger& profiling = Channel(vLoggerManager::eProfiling);
    const std::string file = directory.File("profiling");
    ZKL::LogProfiling(vLogger::eError, "off");
    profiling.BeginLog();
    ZKL::LogProfiling(vLogger::eWarning, "too low");
    ZKL::LogProfiling(vLogger::eInfo, "a%d ", 1);
    ZKL::LogProfilingFlush();  // no output yet
    profiling.SetOutput(file.c_str());
    EXPECT_EQ(profiling.GetOutputName(), file);
    ZKL::LogProfiling(vLogger::eProfiling, "b");
    EXPECT_EQ(test::ReadText(file), "");
    ZKL::LogProfilingFlush();
    EXPECT_EQ(test::ReadText(file), "a1 b");
    profiling.EndLog();

    // Without the mode a request does nothing, but every message is flushed.
    const std::string draws = directory.File("draws");
    vLogger& drawCall = Channel(vLoggerManager::eDrawCall);
    drawCall.BeginLog();
    ZKL::LogDrawCall(vLogger::eDebug, "early");
    drawCall.SetOutput(draws.c_str());
    ZKL::LogDrawCallFlush();
    EXPECT_EQ(test::ReadText(draws), "");
    ZKL::LogDrawCall(vLogger::eDebug, "late");
    EXPECT_EQ(test::ReadText(draws), "[DEBUG]\t : early\n[DEBUG]\t : late\n");
    drawCall.EndLog();
}

TEST(vLogger, ReportsMisuseAndGoesOn) {
    test::Collected collected;
    vLogger logger(new test::CollectingOutput(&collected), vLogger::eFlushEachMessage,
                   vLogger::eDebug, false);
    logger.BeginLog();
    test::ScopedCheckHandler checks;
    LogWithoutFormat(logger, 0);
    logger.SetOutput(nullptr);
    EXPECT_EQ(checks.Expressions(), (std::vector<std::string>{"format", "name"}));
    EXPECT_EQ(collected.Joined(), "");
}

TEST(vLoggerManager, HasTheChannelsOfTheTable) {
    const struct {
        const char* output;
        int level;
        bool enabled;
    } kChannels[] = {{"stdout", 0, true}, {"", 0, false},          {"", 2, false},
                     {"stdout", 0, true}, {"abendTrace", 0, true}, {"stdout", 0, true},
                     {"stdout", 0, false}};
    test::CaptureStream err(2);
    for (int type = 0; type < 7; ++type) {
        SCOPED_TRACE(type);
        const vLogger& logger = Channel(type);
        // The two without an output are given one by other tests of this process.
        if (*kChannels[type].output) {
            EXPECT_EQ(logger.GetOutputName(), kChannels[type].output);
        }
        EXPECT_EQ(logger.GetLevel(), kChannels[type].level);
        EXPECT_EQ(logger.IsEnabled(), kChannels[type].enabled);
    }
    EXPECT_EQ(&Channel(7), &Channel(0));
    EXPECT_EQ(&Channel(-1), &Channel(0));
    EXPECT_EQ(err.Text(), "Invalid logger type asked for: 7\nInvalid logger type asked for: -1\n");
    test::CaptureStream out(1);
    ZKL::LogDefault(vLogger::eInfo, "one");
    ZKL::LogRufx(vLogger::eInfo, "two");
    ZKL::LogXCTOrrin(vLogger::eInfo, "three");
    EXPECT_EQ(out.Text(), "[INFO]\t : one\n[INFO]\t : two\n[INFO]\t : three\n");
}

TEST(vLoggerManager, ReadsItsSettingsFromTheEnvironment) {
    const std::map<const char*, int> kLevels = {
        {"", 0},      {"0", 0},  {"3", 3},           {"5", 5},         {"6", 5},       {"9", 5},
        {"x", 5},     {"A", 5},  {"-", 0},           {"error", 4},     {"Release", 5}, {"INFO", 3},
        {"debug", 0}, {"11", 0}, {"INFORMATION", 0}, {"pRoFiLiNg", 2}, {"warning", 1}};
    EXPECT_EQ(RunChild({"settings"}), 0);
    for (const auto& [text, level] : kLevels) {
        MekPutEnv(("ZKLDefaultLogLevel=" + std::string(text)).c_str());
        EXPECT_EQ(RunChild({"settings"}), level) << '"' << text << '"';
    }
    MekRemoveEnv("ZKLDefaultLogLevel");
    MekPutEnv("LOG_PIPELINING=0");
    EXPECT_EQ(RunChild({"settings"}), 8);
    MekRemoveEnv("LOG_PIPELINING");
}

TEST(PipeliningChannel, IndentsAsItsWordsSay) {
    const test::TempDir directory;
    const std::string file = directory.File("log");
    vLogger& channel = Channel(vLoggerManager::ePipelining);
    channel.SetOutput(file.c_str());
    ZKL::LogPipelining(vLogger::eInfo, "pushtab off\n");
    channel.BeginLog();
    ZKL::LogPipelining(vLogger::eInfo, "poptab frame %d\n", 1);
    ZKL::LogPipelining(vLogger::eInfo, "pushtab\n");
    ZKL::LogPipelining(vLogger::eInfo, "draw  %s pushtab\n  two\n\npoptab three poptab", "pushtab");
    ZKL::LogPipelining(vLogger::eInfo, "\n");
    ZKL::LogPipelining(vLogger::eInfo, "pushtabs poptab poptab end\n");
    channel.EndLog();
    EXPECT_EQ(test::ReadText(file),
              "frame 1\n\tdraw  pushtab\n\t\t  two\n\n\tthree\npushtabs end\n");
}

class Flusher : public testing::Test {
protected:
    Flusher() { lifeCycle.Initialize(); }
    ~Flusher() override { lifeCycle.Terminate(); }

    vLoggerLifeCycle lifeCycle;
    test::Collected collected;
};

TEST_F(Flusher, WritesAllOfEveryThreadInItsOrderBeforeItEnds) {
    for (const int threads : {1, 2, 8, 64}) {
        const int lines = 6400 / threads;
        test::Collected texts;
        vLogger logger(new test::CollectingOutput(&texts), vLogger::eFlushEachMessage,
                       vLogger::eDebug, true);
        logger.BeginLog();
        EXPECT_TRUE(lifeCycle.Initialize());
        std::vector<std::thread> workers;
        for (int thread = 0; thread < threads; ++thread) {
            workers.emplace_back([&logger, thread, lines] {
                for (int i = 0; i < lines; ++i) {
                    Log(logger, vLogger::eInfo, "%d %d %0*d", thread, i, i % 300, 0);
                }
            });
        }
        for (std::thread& worker : workers) {
            worker.join();
        }
        EXPECT_TRUE(lifeCycle.Terminate());
        EXPECT_TRUE(lifeCycle.Terminate());
        std::vector<int> next(static_cast<std::size_t>(threads), 0);
        for (const std::string& text : texts.Texts()) {
            int thread = -1;
            int i = -1;
            ASSERT_EQ(std::sscanf(text.c_str(), "[INFO]\t : %d %d ", &thread, &i), 2) << text;
            EXPECT_EQ(i, next[static_cast<std::size_t>(thread)]++);
        }
        EXPECT_EQ(next, std::vector<int>(static_cast<std::size_t>(threads), lines));
    }
}

// Blocks in Write until it is let go, so that the test knows where the flusher stands.
class GateOutput final : public test::CollectingOutput {
public:
    using CollectingOutput::Write;
    GateOutput(test::Collected* collected, std::atomic<int>* gate)
        : CollectingOutput(collected), gate_(gate) {}
    void Write(const std::string& text) override {
        int untouched = 0;
        gate_->compare_exchange_strong(untouched, 1);
        while (gate_->load() != 2) {
            std::this_thread::yield();
        }
        CollectingOutput::Write(text);
    }

private:
    std::atomic<int>* gate_;
};

TEST_F(Flusher, StallsNobodyHoldsItsOutputsAndDropsWhatComesTooLate) {
    const test::TempDir directory;
    std::atomic<int> gate{0};
    vLogger logger(new GateOutput(&collected, &gate), vLogger::eFlushEachMessage, vLogger::eDebug,
                   true);
    logger.BeginLog();
    Log(logger, vLogger::eInfo, "1");
    ASSERT_TRUE(test::WaitUntil([&gate] { return gate.load() == 1; }));
    Log(logger, vLogger::eInfo, "2");  // returns although the output is stuck
    logger.SetOutput(directory.File("log").c_str());
    std::thread stopping([this] { lifeCycle.Terminate(); });
    // The queue keeps the output of a text that it took; a dropped text leaves its output to go.
    std::list<test::Collected> probes;
    EXPECT_TRUE(test::WaitUntil([&probes] {
        test::Collected& probe = probes.emplace_back();
        vLogger prober(new test::CollectingOutput(&probe), vLogger::eFlushEachMessage,
                       vLogger::eDebug, true);
        prober.BeginLog();
        Log(prober, vLogger::eInfo, "probe");
        prober.SetOutput("stdout");
        return probe.Joined() == "<gone>";
    }));
    Log(logger, vLogger::eInfo, "too late");
    gate.store(2);
    stopping.join();
    EXPECT_EQ(collected.Joined(), "[INFO]\t : 1\n[INFO]\t : 2\n<gone>");
    Log(logger, vLogger::eInfo, "direct");
    EXPECT_EQ(test::ReadText(directory.File("log")), "[INFO]\t : direct\n");
}

TEST(FlusherAtExit, WritesWhatIsQueued) {
    const test::TempDir directory;
    const std::string file = directory.File("log");
    EXPECT_EQ(RunChild({"exit", file.c_str()}), 0);
    std::istringstream lines(test::ReadText(file));
    std::string last;
    int count = 0;
    for (std::string line; std::getline(lines, line); last = line) {
        // Where the system ends the flusher's thread, the text in hand may stand there twice.
        if (line != last) {
            ASSERT_EQ(line, "[INFO]\t : " + std::to_string(count++));
        }
    }
    EXPECT_EQ(count, 1000);
}

}  // namespace
