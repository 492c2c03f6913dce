#pragma once

// From the text of a trace to the trace.

#include <string>

#include "Faults.h"
#include "Trace.h"

namespace trace {

// Reads the plain text, an array of events or an object whose member "traceEvents" is one, into
// `trace`; what is wrong with single events goes to `faults`. False, with the reason in `error`
// (several lines, the last without its end), when the text is no JSON or no trace.
bool ReadTrace(const std::string& text, Trace& trace, Faults& faults, std::string& error);

}  // namespace trace
