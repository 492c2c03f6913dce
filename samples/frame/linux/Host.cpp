#include "Host.h"

#include <sys/resource.h>
#include <unistd.h>

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

}  // namespace frame
