#pragma once

// What the commands do.

#include <string>

#include "Options.h"

namespace trace {

// The program's exit codes.
enum Status { kFine = 0, kFindings = 1, kUnusable = 2 };

struct Result {
    Status status = kFine;
    std::string output;  // for the file of --out, or standard output
    std::string news;    // lines for standard error
};

// Runs the command that the options name; reads files, and leaves writing to the caller.
Result Run(const Options& options);

}  // namespace trace
