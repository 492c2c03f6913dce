#include "Options.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using frame::Options;
using frame::ParseResult;

ParseResult Parse(std::vector<const char*> arguments, Options& options, std::string& error) {
    arguments.insert(arguments.begin(), "frame");
    return frame::ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options,
                               error);
}

TEST(Options, BadOnesAreNamed) {
    const struct {
        std::vector<const char*> arguments;
        std::string error;
    } kCases[] = {
        {{"picture.png"}, "unknown option 'picture.png' (--help lists them)"},
        {{"--frames"}, "--frames wants a number from 1 to 100000"},
        {{"--frames", "0"}, "--frames wants a number from 1 to 100000, not '0'"},
        {{"--frames=12x"}, "--frames wants a number from 1 to 100000, not '12x'"},
        {{"--workers", "257"}, "--workers wants a number from 1 to 256, not '257'"},
        {{"--size", "640"}, "--size wants WIDTHxHEIGHT, each from 16 to 4096, not '640'"},
        {{"--size", "16x4097"}, "--size wants WIDTHxHEIGHT, each from 16 to 4096, not '16x4097'"},
        {{"--out="}, "--out wants a folder name, not ''"},
    };
    for (const auto& each : kCases) {
        Options options;
        std::string error;
        EXPECT_EQ(Parse(each.arguments, options, error), ParseResult::Bad) << each.error;
        EXPECT_EQ(error, each.error);
    }
}

TEST(Options, GoodOnesReachTheirFields) {
    Options options;
    std::string error;
    ASSERT_EQ(
        Parse({"--size", "640x360", "--model", "a b.obj", "--out=x=y", "--help"}, options, error),
        ParseResult::Help);
    EXPECT_EQ(options.width, 640u);
    EXPECT_EQ(options.height, 360u);
    EXPECT_EQ(options.model, "a b.obj");
    EXPECT_EQ(options.out, "x=y");
}

}  // namespace
