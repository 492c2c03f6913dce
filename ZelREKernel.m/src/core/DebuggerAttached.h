#pragma once

// The debugger that watches this process, if any. Safe from any thread.

#include <string_view>

namespace ZKL {

// Whether a debugger is attached. Cheap enough to ask for every line of the log; where the question
// costs a system call the answer may be up to a tenth of a second old.
bool IsDebuggerAttached();

// Shows the text to the debugger's user.
void SendToDebugger(std::string_view text);

}  // namespace ZKL
