#include "Terminal.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace logview {

bool PrepareOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != 0 &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 &&
           SetConsoleOutputCP(CP_UTF8) != 0;
}

}  // namespace logview
