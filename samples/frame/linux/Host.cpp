#include "Host.h"

#include <MekHost/process/MekEnvironment.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace frame {

bool IsErrorStreamTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

std::uint64_t PeakResidentBytes() {
    rusage usage = {};
    if (getrusage(RUSAGE_SELF, &usage) != 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::string ProgramPath() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
}

std::string CrashDumpFolder(const std::string& wanted) {
    constexpr const char* kVariable = "ZelCrashDumpDirectory";
    if (const char* const chosen = std::getenv(kVariable); chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    MekPutEnv((std::string(kVariable) + "=" + wanted).c_str());
    return wanted;
}

std::string DescribeEnd(int exitCode) {
    const int signal = exitCode - 128;
    return signal > 0 ? "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")"
                      : "exit code " + std::to_string(exitCode);
}

}  // namespace frame
