#include "Options.h"

#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Crash.h"
#include "JsonText.h"
#include "WholeFile.h"
#include "ZelREKernel/json/ZelJSONRange.h"

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

constexpr std::string_view kSettings = "--settings";

struct Option {
    std::string_view name;
    const char* wants;
    bool (*apply)(std::string_view text, Options& options);
};

const Option kOptions[] = {
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
    {"--crash", kCrashKinds,
     [](std::string_view text, Options& o) {
         o.crash = text;
         return IsCrashKind(text);
     }},
    // Of --crash, for the process that it starts.
    {"--crash-here", kCrashKinds,
     [](std::string_view text, Options& o) {
         o.crashHere = text;
         return IsCrashKind(text);
     }},
    // A settings file is read before all else and does not name another one.
    {kSettings, "a JSON file, on the command line alone",
     [](std::string_view, Options&) { return false; }},
};

const Option* FindOption(std::string_view name) {
    for (const Option& option : kOptions) {
        if (name == option.name) {
            return &option;
        }
    }
    return nullptr;
}

// Applies one setting; false with the reason in `error`.
bool Apply(const std::string& name, std::string_view value, Options& options, std::string& error) {
    const Option* const option = FindOption(name);
    if (option == nullptr) {
        error = "unknown option '" + name + "' (--help lists them)";
        return false;
    }
    if (!option->apply(value, options)) {
        error = name + " wants " + option->wants + ", not '" + std::string(value) + "'";
        return false;
    }
    return true;
}

// An array is the same option several times.
void ApplySetting(const std::string& name, const ZelJSONValue& value, Options& options) {
    std::string error;
    if (value.IsArray()) {
        for (const ZelJSONValue& each : ZelJSONElements(value)) {
            ApplySetting(name, each, options);
        }
    } else if (value.IsObject() || !Apply(name, Printable(value.AsString()), options, error)) {
        throw std::runtime_error(value.IsObject() ? name + " wants no object" : error);
    }
}

bool ReadSettings(const std::string& path, Options& options, std::string& error) {
    try {
        const ZelJSONValue settings = ParseJson(ReadWholeFile(path), "");
        if (!settings.IsObject()) {
            throw std::runtime_error("not an object");
        }
        for (const auto& [name, value] : ZelJSONMembers(settings)) {
            const std::string clean = Printable(std::string(name));
            ApplySetting("--" + clean, value, options);
        }
        return true;
    } catch (const std::runtime_error& problem) {
        error = path + ": " + problem.what();
        return false;
    }
}

struct Argument {
    std::string name;
    std::string value;
};

// Splits the command line into names and values.
ParseResult SplitArguments(int argc, const char* const* argv, Options& options,
                           std::vector<Argument>& arguments, std::string& error) {
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
        const Option* const option = FindOption(name);
        if (option == nullptr) {
            error = "unknown option '" + name + "' (--help lists them)";
            return ParseResult::Bad;
        }
        const bool inNext = equals == std::string_view::npos;
        if (inNext && i + 1 == argc) {
            error = name + " wants " + option->wants;
            return ParseResult::Bad;
        }
        arguments.push_back({name, std::string(inNext ? argv[++i] : argument.substr(equals + 1))});
    }
    return ParseResult::Run;
}

}  // namespace

ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error) {
    std::vector<Argument> arguments;
    const ParseResult result = SplitArguments(argc, argv, options, arguments, error);
    if (result == ParseResult::Bad) {
        return result;
    }
    for (const Argument& argument : arguments) {
        if (argument.name == kSettings && !ReadSettings(argument.value, options, error)) {
            return ParseResult::Bad;
        }
    }
    for (const Argument& argument : arguments) {
        if (argument.name != kSettings && !Apply(argument.name, argument.value, options, error)) {
            return ParseResult::Bad;
        }
    }
    return result;
}

std::string HelpText() {
    return R"(Usage: frame [options]

Renders a turntable of a model with a software rasterizer whose every stage is a node of the
kernel's task graph, and leaves the picture, a trace and a summary in the output folder.

  --frames N      frames to render (120)
  --size WxH      size of the picture in pixels (960x540)
  --workers N     worker threads (one per processor core)
  --model FILE    glTF 2.0 file, .glb or .gltf (the two-cylinder engine of Debian's
                  assimp-testmodels)
  --out FOLDER    where the results go (frame-out)
  --every N       write every N-th picture too, as frame-00000.png and so on
  --log WHERE     stdout, stderr, network (a TCP listener on port 4666) or a file
                  (frame.log in the output folder)
  --cvar NAME=VALUE
                  sets a control variable; may stand several times
  --cvars         lists the control variables and renders nothing
  --crash KIND    crashes a second process of this program in the middle of its frames, and says
                  where its dump and report are: null-write, bad-jump, stack-overflow, abort,
                  division, trap or heap-corruption
  --settings FILE a JSON object with any of these by name, such as {"frames": 60}; what the
                  command line says comes before it
  --help          this text

Exit codes: 0 done, 1 the model or an output failed, 2 bad options.
)";
}

}  // namespace frame
