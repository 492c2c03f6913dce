#pragma once

// Work that must be done while the process itself is not to be trusted.

namespace ZKL {

// Runs `run(argument)` in a process of its own that shares the memory of this one and waits for its
// end, at most `timeoutMs` milliseconds; -1 waits for ever. Whatever `run` breaks on or waits for,
// the caller goes on. It may trace this process. True when it returned 0 in time. Safe in a signal
// handler.
bool RunInHelper(int (*run)(void*), void* argument, int timeoutMs);

}  // namespace ZKL
