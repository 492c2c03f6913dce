#include "Options.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using frame::Options;
using frame::ParseResult;

struct Case {
    std::vector<const char*> arguments;
    ParseResult result;
    const char* error;
};

TEST(Options, Table) {
    const Case cases[] = {
        {{}, ParseResult::Run, ""},
        {{"--help"}, ParseResult::Help, ""},
        {{"--frames", "7", "--size=320x200", "--workers", "3"}, ParseResult::Run, ""},
        {{"--frobnicate", "1"},
         ParseResult::Bad,
         "unknown option '--frobnicate' (--help lists them)"},
        {{"picture.png"}, ParseResult::Bad, "unknown option 'picture.png' (--help lists them)"},
        {{"--frames"}, ParseResult::Bad, "--frames wants a number from 1 to 100000"},
        {{"--frames", "0"}, ParseResult::Bad, "--frames wants a number from 1 to 100000, not '0'"},
        {{"--frames", "-1"},
         ParseResult::Bad,
         "--frames wants a number from 1 to 100000, not '-1'"},
        {{"--frames=12x"}, ParseResult::Bad, "--frames wants a number from 1 to 100000, not '12x'"},
        {{"--workers", "99999999999"},
         ParseResult::Bad,
         "--workers wants a number from 1 to 256, not '99999999999'"},
        {{"--size", "640"},
         ParseResult::Bad,
         "--size wants WIDTHxHEIGHT, each from 16 to 4096, not '640'"},
        {{"--size", "640x480x2"},
         ParseResult::Bad,
         "--size wants WIDTHxHEIGHT, each from 16 to 4096, not '640x480x2'"},
        {{"--size", "15x4097"},
         ParseResult::Bad,
         "--size wants WIDTHxHEIGHT, each from 16 to 4096, not '15x4097'"},
        {{"--out="}, ParseResult::Bad, "--out wants a folder name, not ''"},
    };
    for (const Case& each : cases) {
        std::vector<const char*> argv = {"frame"};
        argv.insert(argv.end(), each.arguments.begin(), each.arguments.end());
        Options options;
        std::string error;
        EXPECT_EQ(frame::ParseOptions(static_cast<int>(argv.size()), argv.data(), options, error),
                  each.result)
            << each.error;
        EXPECT_EQ(error, each.error);
    }
    Options options;
    std::string error;
    const char* const all[] = {"frame",     "--frames=9", "--size", "640x360", "--workers",
                               "5",         "--every",    "2",      "--model", "a b.obj",
                               "--out=x=y", "--log",      "network"};
    ASSERT_EQ(frame::ParseOptions(static_cast<int>(std::size(all)), all, options, error),
              ParseResult::Run);
    EXPECT_EQ(options.frames, 9u);
    EXPECT_EQ(options.width, 640u);
    EXPECT_EQ(options.height, 360u);
    EXPECT_EQ(options.workers, 5u);
    EXPECT_EQ(options.every, 2u);
    EXPECT_EQ(options.model, "a b.obj");
    EXPECT_EQ(options.out, "x=y");
    EXPECT_EQ(options.log, "network");
}

}  // namespace
