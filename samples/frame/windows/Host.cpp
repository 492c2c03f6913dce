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

std::string ProgramPath() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    return path;
}

std::string CrashDumpFolder(const std::string&) {
    return "E:\\";
}

std::string DescribeEnd(int exitCode) {
    char text[32];
    std::snprintf(text, sizeof(text), exitCode < 0 ? "exception 0x%08X" : "exit code %d", exitCode);
    return text;
}

}  // namespace frame
