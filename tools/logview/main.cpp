// Follows the log that a program sends over TCP.

#include <cstdio>

#include "Options.h"
#include "Terminal.h"
#include "Viewer.h"

int main(int argc, char** argv) {
    logview::Options options;
    std::string error;
    switch (logview::ParseOptions(argc, argv, options, error)) {
        case logview::ParseResult::Help:
            return std::fputs(logview::HelpText().c_str(), stdout) < 0 || std::fflush(stdout) != 0
                       ? logview::kFailed
                       : 0;
        case logview::ParseResult::Bad:
            std::fprintf(stderr, "zkl-logview: %s; --help tells more\n", error.c_str());
            return logview::kBadArguments;
        case logview::ParseResult::Run:
            break;
    }
    const logview::Terminal terminal = logview::PrepareOutput();
    const bool isColoured = options.colour == logview::Colour::Always ||
                            (options.colour == logview::Colour::Auto && terminal.hasColours);
    const logview::LineFilter filter(options.level, options.text, {isColoured, terminal.isThere});
    return logview::View(options, filter, stdout, stderr);
}
