#include "Options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "Statistics.h"

namespace trace {
namespace {

struct CommandWord {
    std::string_view name;
    Command command;
    std::size_t fewest;  // operands
    std::size_t most;
    std::string_view wants;
};

constexpr CommandWord kCommands[] = {
    {"check", Command::Check, 1, 1, "a trace"},
    {"unscramble", Command::Unscramble, 1, 1, "a trace"},
    {"summary", Command::Summary, 1, 1, "a trace"},
    {"frame", Command::Frame, 1, 2, "a trace, and at most one frame"},
    {"diff", Command::Diff, 2, 2, "two traces"},
    {"report", Command::Report, 1, 1, "a trace"},
};

bool ParseCount(std::string_view text, std::size_t& count) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    return error == std::errc() && end == text.data() + text.size();
}

bool ParseText(std::string_view text, std::string& value) {
    value = text;
    return true;
}

constexpr unsigned Of(Command command) {
    return 1u << static_cast<unsigned>(command);
}

struct Option {
    std::string_view name;
    unsigned commands;       // that take it
    std::string_view wants;  // empty: no value
    bool (*apply)(std::string_view text, Options& options);
};

constexpr unsigned kTables = Of(Command::Summary) | Of(Command::Frame) | Of(Command::Diff);

constexpr Option kOptions[] = {
    {"--out", Of(Command::Unscramble) | Of(Command::Report), "a file",
     [](std::string_view text, Options& o) { return ParseText(text, o.out) && !text.empty(); }},
    {"--sort", Of(Command::Summary), "total, self, count, p50, p99, max or name",
     [](std::string_view text, Options& o) { return ParseText(text, o.sort) && IsSortKey(text); }},
    {"--top", kTables, "a number",
     [](std::string_view text, Options& o) { return ParseCount(text, o.top); }},
    {"--limit", Of(Command::Check), "a number",
     [](std::string_view text, Options& o) { return ParseCount(text, o.limit); }},
    {"--wait", Of(Command::Frame) | Of(Command::Report), "a name",
     [](std::string_view text, Options& o) { return ParseText(text, o.wait); }},
    {"--steps", Of(Command::Report), "a number",
     [](std::string_view text, Options& o) { return ParseCount(text, o.mostSteps); }},
    {"--strict", Of(Command::Check), "",
     [](std::string_view, Options& o) { return o.strict = true; }},
    {"--json", kTables, "", [](std::string_view, Options& o) { return o.json = true; }},
    {"--path", Of(Command::Frame), "", [](std::string_view, Options& o) { return o.path = true; }},
    {"--per-frame", Of(Command::Diff), "",
     [](std::string_view, Options& o) { return o.perFrame = true; }},
};

bool IsHelp(std::string_view argument) {
    return argument == "--help" || argument == "-h";
}

template <typename Table>
auto Find(const Table& table, std::string_view name) {
    const auto* const found = std::find_if(std::begin(table), std::end(table),
                                           [&](const auto& entry) { return entry.name == name; });
    return found == std::end(table) ? nullptr : found;
}

// One argument, with its value if it takes one.
bool ParseArgument(const char* const*& argument, const char* const* end, const CommandWord& word,
                   Options& options, std::string& error) {
    const std::string_view text = *argument++;
    if (!text.starts_with("--") && (text == "-" || !text.starts_with('-'))) {
        options.operands.emplace_back(text);
        return true;
    }
    const Option* const option = Find(kOptions, text);
    if (option == nullptr || (option->commands & Of(word.command)) == 0) {
        error = std::string(word.name) + " has no option " + std::string(text);
        return false;
    }
    const bool hasValue = !option->wants.empty();
    if (hasValue && argument == end) {
        error = std::string(text) + " needs " + std::string(option->wants);
        return false;
    }
    if (!option->apply(hasValue ? *argument++ : "", options)) {
        error = std::string(text) + " needs " + std::string(option->wants);
        return false;
    }
    return true;
}

}  // namespace

ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error) {
    const char* const* const end = argv + argc;
    if (std::any_of(argv + 1, end, IsHelp)) {
        return ParseResult::Help;
    }
    if (argc < 2) {
        error = "no command";
        return ParseResult::Bad;
    }
    const CommandWord* const word = Find(kCommands, argv[1]);
    if (word == nullptr) {
        error = "unknown command " + std::string(argv[1]);
        return ParseResult::Bad;
    }
    options.command = word->command;
    for (const char* const* argument = argv + 2; argument != end;) {
        if (!ParseArgument(argument, end, *word, options, error)) {
            return ParseResult::Bad;
        }
    }
    if (options.operands.size() < word->fewest || options.operands.size() > word->most) {
        error = std::string(word->name) + " needs " + std::string(word->wants);
        return ParseResult::Bad;
    }
    return ParseResult::Run;
}

std::string HelpText() {
    return "usage: zkl-trace COMMAND [OPTION...] FILE...\n"
           "\n"
           "Looks at traces that the profiler wrote, scrambled ones too.\n"
           "\n"
           "  check FILE        says what is wrong with the trace, one line for each fault\n"
           "    --limit N       shows the first N faults (default: 20); all are counted\n"
           "    --strict        a flow without a start, or with nothing but one, is a fault\n"
           "  unscramble FILE   writes the plain text of a scrambled trace\n"
           "    --out FILE      into a file (default: standard output)\n"
           "  summary FILE      what the slices of each name took\n"
           "    --sort KEY      total (the default), self, count, p50, p99, max or name\n"
           "    --top N         the first N rows\n"
           "    --json          for programs: nanoseconds, in a JSON array\n"
           "  frame FILE [N]    the frames; or the critical path of frame N, or of the "
           "\"slowest\"\n"
           "    --path          every step of the path, not only what each name took of it\n"
           "    --wait NAME     slices of this name wait (default: wait)\n"
           "    --top N, --json\n"
           "  diff OLD NEW      what each name took in two traces, the largest change first\n"
           "    --per-frame     counts and totals divided by the number of frames\n"
           "    --top N, --json\n"
           "  report FILE       a page with a timeline, for a browser, without network\n"
           "    --out FILE      into a file (default: standard output)\n"
           "    --wait NAME     slices of this name wait (default: wait)\n"
           "    --steps N       room for N steps of critical paths (default: 1000000)\n"
           "  --help            this text\n"
           "\n"
           "Times are milliseconds. Status: 0 fine; 1 check found faults; 2 bad arguments, a file\n"
           "that cannot be read or written, or no trace. Of a text that is broken JSON check says\n"
           "where; to the other commands it is no trace.\n";
}

}  // namespace trace
