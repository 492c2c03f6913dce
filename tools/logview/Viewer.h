#pragma once

// Follows one log.

#include <cstdio>

#include "LineFilter.h"
#include "Options.h"

namespace logview {

// The program's exit codes.
enum Status { kClosed = 0, kFailed = 1, kBadArguments = 2 };

// Connects, writes the lines that `filter` shows to `out` and news of the connection to `news`,
// until the log ends or the options say to give up. Every connection begins with a filter as it is
// given. Nobody reading `out` any more is an end like the log's own; that it cannot be written for
// another reason is a failure.
Status View(const Options& options, const LineFilter& filter, std::FILE* out, std::FILE* news);

}  // namespace logview
