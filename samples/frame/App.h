#pragma once

// The program from its options to its results.

#include "Options.h"

namespace frame {

// Runs the program and returns its exit code: 0 done, 1 when the model or an output failed, with
// one line about it on standard error.
int RunApp(const Options& options);

}  // namespace frame
