#pragma once

// Logs to "stdout" and "stderr" with a debugger attached. 0 when it could be done, 77 when this
// process may not be traced.
int LogUnderDebugger(const char* outFile, const char* errFile);
