#pragma once

// The command line.

#include <cstddef>
#include <string>
#include <vector>

namespace trace {

enum class Command { Check, Unscramble, Summary, Frame, Diff, Report };

struct Options {
    Command command = Command::Check;
    std::vector<std::string> operands;  // files, and the frame of `frame`
    std::string out;                    // a file; empty: standard output
    std::string sort = "total";
    std::size_t top = SIZE_MAX;       // rows of a table
    std::size_t limit = 20;           // faults shown
    std::string wait = "wait";        // the name of slices that wait
    std::size_t mostSteps = 1000000;  // of critical paths in a page: some 25 bytes each
    bool json = false;
    bool path = false;
    bool perFrame = false;
    bool strict = false;  // loose flows are faults
};

enum class ParseResult { Run, Help, Bad };

// Reads the arguments into `options`. `Bad` leaves one line without a line feed in `error`.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error);

// The text for --help.
std::string HelpText();

}  // namespace trace
