#pragma once

// The HTML page of a trace.

#include <string>

#include "Options.h"
#include "Trace.h"

namespace trace {

// A page that a browser shows from the disk: timeline, frames with their critical paths, flows,
// counters and the summary. Style, program and data are all in it; it asks no network for anything,
// and nothing in the trace can become markup or program.
std::string ReportText(const Trace& trace, const Options& options);

}  // namespace trace
