#pragma once

// Flows as a whole: the order of their points, and whether they are joined.

#include "Faults.h"
#include "Trace.h"

namespace trace {

// Sorts the points of each flow by time, at the same time the start first and the end last, and
// notes flows that are started twice or that go on behind their end.
void OrderFlows(Trace& trace, Faults& faults);

// Notes flows that are not joined: they have no start, or nothing but one. In a trace of a part of
// the time that is no fault, since the other end may have been before or after it.
void FindLooseFlows(const Trace& trace, Faults& faults);

}  // namespace trace
