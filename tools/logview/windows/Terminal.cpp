#include "Terminal.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstdio>

namespace logview {

Terminal PrepareOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    const bool isThere = GetConsoleMode(output, &mode) != 0;
    return {isThere, isThere &&
                         SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 &&
                         SetConsoleOutputCP(CP_UTF8) != 0};
}

// The run-time library has no name for a pipe that is closed at its other end.
bool IsReaderGone(int error) {
    return error == EPIPE || error == EINVAL;
}

}  // namespace logview
