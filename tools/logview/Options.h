#pragma once

// The command line.

#include <cstddef>
#include <string>

namespace logview {

enum class Colour { Auto, Always, Never };

struct Options {
    std::string address = "127.0.0.1";
    int port = 4666;
    std::size_t level = 0;  // least level shown, a place in kLevels
    std::string text;       // shown messages hold it
    Colour colour = Colour::Auto;
    int waitMs = -1;    // how long to try for a connection; -1: for ever
    bool once = false;  // a lost connection is the end
};

enum class ParseResult { Run, Help, Bad };

// Reads the arguments into `options`. `Bad` leaves one line without a line feed in `error`.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error);

// The text for --help.
std::string HelpText();

}  // namespace logview
