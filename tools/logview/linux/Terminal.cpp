#include "Terminal.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace logview {

Terminal PrepareOutput() {
    // A reader that has gone is an ordinary end, not a signal's.
    std::signal(SIGPIPE, SIG_IGN);
    const char* const kind = std::getenv("TERM");
    const bool isThere = isatty(STDOUT_FILENO) == 1;
    return {isThere, isThere && kind != nullptr && std::strcmp(kind, "dumb") != 0};
}

bool IsReaderGone(int error) {
    return error == EPIPE;
}

}  // namespace logview
