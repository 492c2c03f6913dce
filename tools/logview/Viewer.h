#pragma once

// Follows one log.

#include <cstdio>

#include "Options.h"

namespace logview {

// The program's exit codes.
enum Status { kClosed = 0, kNoConnection = 1, kBadArguments = 2 };

// Connects, writes the lines to show to `out` and news of the connection to `news`, until the log
// ends or the options say to give up. Nobody reading `out` any more is an end like the log's own.
Status View(const Options& options, bool colour, std::FILE* out, std::FILE* news);

}  // namespace logview
