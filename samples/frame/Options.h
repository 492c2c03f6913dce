#pragma once

// The command line.

#include <cstdint>
#include <string>
#include <vector>

namespace frame {

struct Options {
    std::uint32_t frames = 120;
    std::uint32_t width = 960;
    std::uint32_t height = 540;
    std::uint32_t workers = 0;  // 0: one per processor core
    std::uint32_t every = 0;    // write every n-th picture; 0: only the last
    std::string model = "/usr/share/assimp/models/OBJ/spider.obj";
    std::string out = "frame-out";
    std::string log;                       // empty: frame.log in the output folder
    std::vector<std::string> controlVars;  // each "NAME=VALUE"
    bool listControlVars = false;
};

enum class ParseResult { Run, Help, Bad };

// Reads the arguments into `options`. `Bad` leaves one line without a line feed in `error`.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error);

// The text for --help.
std::string HelpText();

}  // namespace frame
