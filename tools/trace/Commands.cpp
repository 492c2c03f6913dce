#include "Commands.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "Faults.h"
#include "Flows.h"
#include "JsonSyntax.h"
#include "Report.h"
#include "Table.h"
#include "Tables.h"
#include "Text.h"
#include "Trace.h"
#include "TraceReader.h"
#include "TraceText.h"

namespace trace {
namespace {

// A file as far as it can be read.
struct Source {
    std::string text;
    Trace trace;
    Faults faults;
    std::string error;      // why there is no trace
    bool isBroken = false;  // as JSON, somewhere

    explicit Source(std::size_t limit) : faults(limit) {}
};

// False when the file cannot be read or is nothing that one could call a trace.
bool ReadText(const std::string& path, Source& source, TextKind& kind) {
    if (!ReadFile(path, source.text, source.error)) {
        return false;
    }
    kind = Unscramble(source.text);
    if (kind == TextKind::Neither) {
        source.error =
            path + (source.text.empty() ? ": is empty" : ": no trace, plain or scrambled");
    }
    return kind != TextKind::Neither;
}

// The library's reader may take what a viewer refuses.
void CheckSyntax(const std::string& text, Faults& faults) {
    const std::size_t place = FindSyntaxError(text);
    if (place == std::string::npos) {
        return;
    }
    faults.Add([&] {
        const std::string_view before = std::string_view(text).substr(0, place);
        const auto lines = std::count(before.begin(), before.end(), '\n');
        return "line " + std::to_string(lines + 1) + ", byte " +
               std::to_string(place - (before.rfind('\n') + 1) + 1) +
               ": no JSON to the letter; viewers may refuse the trace";
    });
}

bool Parse(const std::string& path, Source& source) {
    CheckSyntax(source.text, source.faults);
    const bool isRead = ReadTrace(source.text, source.trace, source.faults, source.error);
    if (!isRead) {
        // A place in the file, which JSON that is broken has, reads as compilers write it.
        source.isBroken = source.error[0] >= '0' && source.error[0] <= '9';
        source.error.insert(0, path + (source.isBroken ? ":" : ": "));
    }
    // As long as the trace, and no longer of use.
    source.text = std::string();
    return isRead;
}

Result Unusable(const std::string& error) {
    return {.status = kUnusable, .output = "", .news = "zkl-trace: " + error + "\n"};
}

Result Check(const Options& options) {
    Source source(options.limit);
    TextKind kind = TextKind::Neither;
    const std::string& path = options.operands[0];
    if (!ReadText(path, source, kind)) {
        return Unusable(source.error);
    }
    Result result;
    if (!Parse(path, source)) {
        if (!source.isBroken) {
            return Unusable(source.error);
        }
        result.output = source.error + "\n";
        result.status = kFindings;
        return result;
    }
    Faults loose(0);
    FindLooseFlows(source.trace, options.strict ? source.faults : loose);
    for (const std::string& line : source.faults.Lines()) {
        result.output += line + "\n";
    }
    const std::uint64_t hidden = source.faults.Count() - source.faults.Lines().size();
    result.output += hidden > 0 ? "and " + std::to_string(hidden) + " more\n" : "";
    const Trace& trace = source.trace;
    result.output +=
        Counted(trace.eventCount, "event") + ", " + Counted(trace.threads.size(), "thread") + ", " +
        Counted(trace.slices.size(), "slice") + ", " + Counted(trace.flows.size(), "flow") +
        (loose.Count() > 0 ? " (" + std::to_string(loose.Count()) + " loose), " : ", ") +
        Counted(trace.frames.size(), "frame") + ", " + Counted(source.faults.Count(), "fault") +
        (kind == TextKind::Scrambled ? "; it was scrambled\n" : "\n");
    result.status = source.faults.Count() == 0 ? kFine : kFindings;
    return result;
}

Result UnscrambleFile(const Options& options) {
    Source source(0);
    TextKind kind = TextKind::Neither;
    if (!ReadText(options.operands[0], source, kind)) {
        return Unusable(source.error);
    }
    Result result;
    result.output = std::move(source.text);
    if (kind == TextKind::Plain) {
        result.news = "zkl-trace: " + options.operands[0] + " is not scrambled\n";
    }
    return result;
}

// For the commands that need no perfect trace; they say that it is not one.
bool Load(const std::string& path, Source& source, Result& result) {
    TextKind kind = TextKind::Neither;
    if (!ReadText(path, source, kind) || !Parse(path, source)) {
        result = Unusable(source.error);
        return false;
    }
    if (source.faults.Count() > 0) {
        result.news += "zkl-trace: " + path + " has " + Counted(source.faults.Count(), "fault") +
                       "; zkl-trace check tells more\n";
    }
    return true;
}

Result ShowOne(const Options& options) {
    Result result;
    Source source(0);
    if (!Load(options.operands[0], source, result)) {
        return result;
    }
    if (options.command == Command::Summary) {
        result.output = SummaryText(source.trace, options);
    } else if (options.command == Command::Report) {
        result.output = ReportText(source.trace, options);
    } else if (!FrameText(source.trace, options, result.output)) {
        return Unusable(options.operands[0] + " has no frame " + Printable(options.operands[1]));
    }
    return result;
}

Result Diff(const Options& options) {
    Result result;
    Source older(0);
    Source newer(0);
    if (Load(options.operands[0], older, result) && Load(options.operands[1], newer, result)) {
        result.output = DiffText(older.trace, newer.trace, options);
    }
    return result;
}

}  // namespace

Result Run(const Options& options) {
    for (const std::string& operand : options.operands) {
        std::error_code none;
        if (!options.out.empty() && std::filesystem::equivalent(operand, options.out, none)) {
            return Unusable(options.out + " is the trace itself, which stays as it is");
        }
    }
    switch (options.command) {
        case Command::Check:
            return Check(options);
        case Command::Unscramble:
            return UnscrambleFile(options);
        case Command::Diff:
            return Diff(options);
        default:
            return ShowOne(options);
    }
}

}  // namespace trace
