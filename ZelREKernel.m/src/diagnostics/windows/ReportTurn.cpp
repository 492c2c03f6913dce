#include "diagnostics/ReportTurn.h"

#include <windows.h>

namespace ZKL {

std::uint32_t ThreadNumber() {
    return GetCurrentThreadId();
}

void PauseShortly() {
    Sleep(1);
}

}  // namespace ZKL
