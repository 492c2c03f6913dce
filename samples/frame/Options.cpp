#include "Options.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace frame {
namespace {

constexpr std::uint32_t kMinSide = 16;
constexpr std::uint32_t kMaxSide = 4096;

bool ParseNumber(std::string_view text, std::uint32_t low, std::uint32_t high,
                 std::uint32_t& value) {
    std::uint32_t parsed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error != std::errc() || end != text.data() + text.size() || parsed < low || parsed > high) {
        return false;
    }
    value = parsed;
    return true;
}

bool ParseSize(std::string_view text, Options& options) {
    const std::size_t cross = text.find('x');
    return cross != std::string_view::npos &&
           ParseNumber(text.substr(0, cross), kMinSide, kMaxSide, options.width) &&
           ParseNumber(text.substr(cross + 1), kMinSide, kMaxSide, options.height);
}

bool ParseText(std::string_view text, std::string& value) {
    value = text;
    return !text.empty();
}

struct Option {
    const char* name;
    const char* wants;
    bool (*apply)(std::string_view text, Options& options);
};

constexpr Option kOptions[] = {
    {"--frames", "a number from 1 to 100000",
     [](std::string_view text, Options& o) { return ParseNumber(text, 1, 100000, o.frames); }},
    {"--size", "WIDTHxHEIGHT, each from 16 to 4096", ParseSize},
    {"--workers", "a number from 1 to 256",
     [](std::string_view text, Options& o) { return ParseNumber(text, 1, 256, o.workers); }},
    {"--every", "a number from 1 to 100000",
     [](std::string_view text, Options& o) { return ParseNumber(text, 1, 100000, o.every); }},
    {"--model", "a file name",
     [](std::string_view text, Options& o) { return ParseText(text, o.model); }},
    {"--out", "a folder name",
     [](std::string_view text, Options& o) { return ParseText(text, o.out); }},
    {"--log", "stdout, stderr, network or a file name",
     [](std::string_view text, Options& o) { return ParseText(text, o.log); }},
    {"--cvar", "NAME=VALUE",
     [](std::string_view text, Options& o) {
         o.controlVars.emplace_back(text);
         return text.find('=') != std::string_view::npos;
     }},
};

const Option* FindOption(std::string_view name) {
    for (const Option& option : kOptions) {
        if (name == option.name) {
            return &option;
        }
    }
    return nullptr;
}

}  // namespace

ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            return ParseResult::Help;
        }
        if (argument == "--cvars") {
            options.listControlVars = true;
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string name(argument.substr(0, equals));
        const Option* option = FindOption(name);
        if (option == nullptr) {
            error = "unknown option '" + name + "' (--help lists them)";
            return ParseResult::Bad;
        }
        const bool inNext = equals == std::string_view::npos;
        if (inNext && i + 1 == argc) {
            error = name + " wants " + option->wants;
            return ParseResult::Bad;
        }
        const std::string_view value = inNext ? argv[++i] : argument.substr(equals + 1);
        if (!option->apply(value, options)) {
            error = name + " wants " + option->wants + ", not '" + std::string(value) + "'";
            return ParseResult::Bad;
        }
    }
    return ParseResult::Run;
}

std::string HelpText() {
    return R"(Usage: frame [options]

Renders a turntable of a model with a software rasterizer whose every stage is a node of the
kernel's task graph, and leaves the picture, a trace and a summary in the output folder.

  --frames N      frames to render (120)
  --size WxH      size of the picture in pixels (960x540)
  --workers N     worker threads (one per processor core)
  --model FILE    Wavefront OBJ file (the spider of Debian's assimp-testmodels)
  --out FOLDER    where the results go (frame-out)
  --every N       write every N-th picture too, as frame-00000.png and so on
  --log WHERE     stdout, stderr, network (a TCP listener on port 4666) or a file
                  (frame.log in the output folder)
  --cvar NAME=VALUE
                  sets a control variable; may stand several times
  --cvars         lists the control variables and renders nothing
  --help          this text

Exit codes: 0 done, 1 the model or an output failed, 2 bad options.
)";
}

}  // namespace frame
