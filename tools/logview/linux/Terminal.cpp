#include "Terminal.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

namespace logview {

bool PrepareOutput() {
    // A reader that has gone is an ordinary end, not a signal's.
    std::signal(SIGPIPE, SIG_IGN);
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

}  // namespace logview
