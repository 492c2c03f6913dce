#include "Options.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "support/TempDir.h"

#include "Look.h"

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
        {{"--cvar", "exposure"}, "--cvar wants NAME=VALUE, not 'exposure'"},
        {{"--crash", "boredom"},
         "--crash wants null-write, bad-jump, stack-overflow, abort, division, trap or "
         "heap-corruption, "
         "not 'boredom'"},
    };
    for (const auto& each : kCases) {
        Options options;
        std::string error;
        EXPECT_EQ(Parse(each.arguments, options, error), ParseResult::Bad) << each.error;
        EXPECT_EQ(error, each.error);
    }
}

TEST(ControlVars, GoodOnesAreSetAndListedBadOnesNamed) {
    std::string error;
    EXPECT_TRUE(frame::ApplyControlVars({"exposure=2.5", "shadows=0", "turn.frames=7"}, error));
    EXPECT_EQ(frame::CurrentLook().exposure, 2.5f);
    EXPECT_FALSE(frame::CurrentLook().shadows);
    EXPECT_NE(frame::ListControlVars().find("turn.frames  7 "), std::string::npos);
    EXPECT_TRUE(frame::ApplyControlVars({"exposure=1", "shadows=1", "turn.frames=240"}, error));
    const std::pair<const char*, const char*> kBad[] = {
        {"no=1", "no control variable is called 'no' (--cvars lists them)"},
        {"light.y=nan", "light.y wants a value from 0.1 to 10, not 'nan'"},
        {"shadows=2", "shadows wants a value from 0 to 1, not '2'"},
        {"turn.frames=-1", "turn.frames wants a value from 1 to 100000, not '-1'"},
    };
    for (const auto& [assignment, expected] : kBad) {
        EXPECT_FALSE(frame::ApplyControlVars({assignment}, error));
        EXPECT_EQ(error, expected);
    }
}

TEST(Options, ComeFromAFileBeforeTheCommandLine) {
    const test::TempDir directory;
    const std::string file = directory.File("settings.json");
    const struct {
        const char* text;
        std::string error;
    } kCases[] = {
        {R"({"frames": 7, "size": "320x200", "model": "é.glb", "cvar": ["a=1", "b=2"]})", ""},
        {"[1]", ": not an object"},
        {"{\"frames\": 7,\n\"out\" \"x\"}", ": line 2: Missing ':' after object member name"},
        {R"({"frames": {}})", ": --frames wants no object"},
        {R"({"frames": 0.5})", ": --frames wants a number from 1 to 100000, not '0.500000'"},
        {R"({"fra\u0007mes\"": 1})", ": unknown option '--fra?mes'' (--help lists them)"},
        {R"({"settings": "x"})",
         ": --settings wants a JSON file, on the command line alone, not 'x'"},
    };
    for (const auto& each : kCases) {
        std::ofstream(file, std::ios::binary) << each.text;
        Options options;
        std::string error;
        const ParseResult result =
            Parse({"--size", "64x48", "--settings", file.c_str()}, options, error);
        EXPECT_EQ(result, each.error.empty() ? ParseResult::Run : ParseResult::Bad) << error;
        EXPECT_EQ(error, each.error.empty() ? "" : file + each.error);
        if (result == ParseResult::Run) {
            EXPECT_EQ(options.frames, 7u);
            EXPECT_EQ(options.width, 64u);
            EXPECT_EQ(options.model, "é.glb");
            EXPECT_EQ(options.controlVars, (std::vector<std::string>{"a=1", "b=2"}));
        }
    }
}

}  // namespace
