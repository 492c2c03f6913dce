#include "Options.h"

#include <charconv>
#include <string_view>

#include "LineFilter.h"

namespace logview {
namespace {

bool ParseNumber(std::string_view text, int low, int high, int& value) {
    int parsed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error != std::errc() || end != text.data() + text.size() || parsed < low || parsed > high) {
        return false;
    }
    value = parsed;
    return true;
}

bool ParseLevel(std::string_view text, Options& options) {
    const std::optional<std::size_t> level = LevelByName(text);
    options.level = level.value_or(options.level);
    return level.has_value();
}

bool ParseColour(std::string_view text, Options& options) {
    options.colour = text == "always"  ? Colour::Always
                     : text == "never" ? Colour::Never
                                       : Colour::Auto;
    return text == "always" || text == "never" || text == "auto";
}

bool ParseWait(std::string_view text, Options& options) {
    int seconds = 0;
    if (!ParseNumber(text, 0, 1000000, seconds)) {
        return false;
    }
    options.waitMs = seconds * 1000;
    return true;
}

struct Option {
    std::string_view name;
    std::string_view wants;
    bool (*apply)(std::string_view text, Options& options);
};

constexpr Option kOptions[] = {
    {"--port", "a number from 1 to 65535",
     [](std::string_view text, Options& o) { return ParseNumber(text, 1, 65535, o.port); }},
    {"--level", "DEBUG, WARNING, PROFILING, INFO, ERROR or RELEASE", ParseLevel},
    {"--text", "a text",
     [](std::string_view text, Options& o) {
         o.text = text;
         return true;
     }},
    {"--colour", "auto, always or never", ParseColour},
    {"--wait", "a number of seconds", ParseWait},
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
    bool addressGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            return ParseResult::Help;
        }
        if (argument == "--once") {
            options.once = true;
        } else if (const Option* option = FindOption(argument)) {
            if (i + 1 == argc || !option->apply(argv[++i], options)) {
                error = std::string(argument) + " needs " + std::string(option->wants);
                return ParseResult::Bad;
            }
        } else if (argument.starts_with('-') || addressGiven) {
            error = "unknown argument " + std::string(argument);
            return ParseResult::Bad;
        } else {
            options.address = argument;
            addressGiven = true;
        }
    }
    return ParseResult::Run;
}

std::string HelpText() {
    return "usage: zkl-logview [OPTION...] [ADDRESS]\n"
           "\n"
           "Follows the log that a program sends to its output \"network\", at the dotted IPv4 "
           "ADDRESS\n"
           "(default: 127.0.0.1). Waits for the program to start, connects again when the "
           "connection\n"
           "is lost, and ends when the program closes its log.\n"
           "\n"
           "  --port N        the TCP port (default: 4666)\n"
           "  --level LEVEL   only messages of this level and above: DEBUG, WARNING, PROFILING, "
           "INFO,\n"
           "                  ERROR, RELEASE\n"
           "  --text TEXT     only messages that hold TEXT\n"
           "  --colour WHEN   auto (on a terminal, the default), always or never\n"
           "  --wait SECONDS  give up when there is no connection for so long\n"
           "  --once          end when the connection is lost\n"
           "  --help          this text\n"
           "\n"
           "Status: 0 the log was closed, or nobody reads the output any more; 1 no connection, a "
           "lost\n"
           "one with --once, or an output that cannot be written; 2 bad arguments.\n";
}

}  // namespace logview
