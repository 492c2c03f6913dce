#include "diagnostics/ReportTurn.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace ZKL {

std::uint32_t ThreadNumber() {
    return static_cast<std::uint32_t>(syscall(SYS_gettid));
}

void PauseShortly() {
    const timespec pause = {0, 1'000'000};
    nanosleep(&pause, nullptr);
}

}  // namespace ZKL
