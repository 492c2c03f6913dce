#include "Host.h"

#include <io.h>
#include <windows.h>
// After the system's own types.
#include <psapi.h>

#include <cstdio>

namespace frame {

bool IsErrorStreamTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}

std::uint64_t PeakResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) {
        return 0;
    }
    return counters.PeakWorkingSetSize;
}

}  // namespace frame
