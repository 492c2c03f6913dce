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
            std::fputs(logview::HelpText().c_str(), stdout);
            return 0;
        case logview::ParseResult::Bad:
            std::fprintf(stderr, "zkl-logview: %s; --help tells more\n", error.c_str());
            return logview::kBadArguments;
        case logview::ParseResult::Run:
            break;
    }
    const bool terminal = logview::PrepareOutput();
    const bool colour = options.colour == logview::Colour::Always ||
                        (options.colour == logview::Colour::Auto && terminal);
    return logview::View(options, colour, stdout, stderr);
}
