#pragma once

// The tables of the commands `summary`, `frame` and `diff`, for people or, with --json, programs.

#include <string>

#include "Options.h"
#include "Trace.h"

namespace trace {

std::string SummaryText(const Trace& trace, const Options& options);
// The frames, or the critical path of the one that is the second operand. False when there is no
// such frame.
bool FrameText(const Trace& trace, const Options& options, std::string& text);
std::string DiffText(const Trace& older, const Trace& newer, const Options& options);

}  // namespace trace
