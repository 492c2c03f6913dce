#include <MekHost/MekHost.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "LineFilter.h"
#include "LineStream.h"
#include "Options.h"
#include "Viewer.h"
#include "support/TempDir.h"

namespace {

using logview::Options;

// However the network cuts the bytes, the lines are the same; the mark ends a log only at its end.
TEST(LogView, CutsLinesAtEveryPlace) {
    const std::string sent = "[INFO]\t : a\nit said --KILL_SOCKET--\n\nlast --KILL_SOCKET--";
    for (std::size_t step = 1; step <= sent.size(); ++step) {
        logview::LineStream stream;
        std::string lines;
        for (std::size_t at = 0; at < sent.size(); at += step) {
            for (const std::string_view line :
                 stream.Push(std::string_view(sent).substr(at, step))) {
                lines += std::string(line) + "|";
            }
        }
        bool ended = false;
        EXPECT_EQ(lines + stream.Finish(ended), "[INFO]\t : a|it said --KILL_SOCKET--||last ")
            << step;
        EXPECT_TRUE(ended);
    }
}

TEST(LogView, ShowsWhatIsAskedFor) {
    const char* const lines[] = {"before any message",
                                 "[DEBUG]\t : small",
                                 "its second line",
                                 "[ERROR]\t : disk",
                                 "full",
                                 "[ERROR]\t : net",
                                 "[NOLEVEL]\t : full",
                                 "[RELEASE]\t : disk 2"};
    const struct {
        std::size_t level;
        const char* text;
        bool colour;
        const char* shown;
    } cases[] = {
        {0, "small", false, "before any message\n[DEBUG]\t : small\nits second line\n"},
        {4, "disk", false, "before any message\n[ERROR]\t : disk\nfull\n[RELEASE]\t : disk 2\n"},
        {5, "", true, "before any message\n\033[1m[RELEASE]\t : disk 2\033[0m\n"},
    };
    for (const auto& c : cases) {
        logview::LineFilter filter(c.level, c.text, {.isColoured = c.colour});
        std::string shown;
        for (const char* line : lines) {
            filter.Show(line, shown);
        }
        EXPECT_EQ(shown, c.shown);
    }
}

TEST(LogView, KeepsATerminalFromBeingSteered) {
    using namespace std::string_view_literals;
    const std::string_view line =
        "a\tb\x1b]0;\x07\0\x7F \xC3\xA9\xC2\x9B\xC2\xA0 \xC3 \xED\xA0\x80 \xF0\x9F\x98\x80"sv;
    for (const bool terminal : {false, true}) {
        logview::LineFilter filter(0, "", {.isPrintable = terminal});
        std::string shown;
        filter.Show(line, shown);
        EXPECT_EQ(shown, terminal ? "a\tb?]0;??? \xC3\xA9?\xC2\xA0 ? ??? \xF0\x9F\x98\x80\n"
                                  : std::string(line) + "\n");
    }
}

TEST(LogView, ReadsItsCommandLine) {
    const struct {
        std::vector<const char*> words;
        const char* error;
    } cases[] = {
        {{"--port", "4667", "10.0.0.1", "--level", "error", "--wait", "0"}, ""},
        {{"--port", "65536"}, "--port needs a number from 1 to 65535"},
        {{"--level", "loud"}, "--level needs DEBUG, WARNING, PROFILING, INFO, ERROR or RELEASE"},
        {{"--colour", "red"}, "--colour needs auto, always or never"},
        {{"--loud"}, "unknown argument --loud"},
        {{"127.0.0.1", "127.0.0.2"}, "unknown argument 127.0.0.2"},
    };
    for (const auto& c : cases) {
        std::vector<const char*> words = c.words;
        words.insert(words.begin(), "zkl-logview");
        Options options;
        std::string error;
        EXPECT_EQ(
            logview::ParseOptions(static_cast<int>(words.size()), words.data(), options, error),
            *c.error ? logview::ParseResult::Bad : logview::ParseResult::Run);
        EXPECT_EQ(error, c.error);
    }
}

// Plays the program whose log is followed: its connections end one after the other.
TEST(LogView, ConnectsAgainUntilTheLogIsClosed) {
    MekSocketConnector listener(0, 1, 2);
    ASSERT_EQ(listener.Declare(), kMekOk);
    std::thread program([&listener] {
        for (const std::string_view text :
             {"one\n[DEBUG]\t : hidden\ntw", "three\n--KILL_SOCKET--"}) {
            MekSockets* client = nullptr;
            ASSERT_EQ(listener.Select(60000), kMekOk);
            ASSERT_EQ(listener.Accept(&client), kMekOk);
            EXPECT_EQ(client->Send(text.data(), text.size()), kMekOk);
            delete client;
        }
    });
    Options options;
    options.port = listener.GetPort();
    const test::TempDir directory;
    const auto open = [&directory](const char* name) {
        return std::unique_ptr<std::FILE, int (*)(std::FILE*)>(
            std::fopen(directory.File(name).c_str(), "wb"), std::fclose);
    };
    const logview::LineFilter all(4, "", {});
    auto out = open("out");
    auto news = open("news");
    EXPECT_EQ(logview::View(options, all, out.get(), news.get()), logview::kClosed);
    program.join();
    listener.Close();

    options.waitMs = 0;
    EXPECT_EQ(logview::View(options, all, out.get(), news.get()), logview::kFailed);
    options.address = "nowhere";
    options.waitMs = -1;
    EXPECT_EQ(logview::View(options, all, out.get(), news.get()), logview::kBadArguments);
    out.reset();
    news.reset();
    EXPECT_EQ(test::ReadFile(directory.File("out")), "one\nthree\n");
    const std::string port = std::to_string(options.port);
    EXPECT_EQ(test::ReadFile(directory.File("news")),
              "zkl-logview: connection lost, waiting\n"
              "zkl-logview: no log at 127.0.0.1, port " +
                  port +
                  "\n"
                  "zkl-logview: nowhere is no dotted IPv4 address\n");
}

}  // namespace
