#pragma once

// The settings of a run, from the command line and from a file.

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
    std::string model =
        "/usr/share/assimp/models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb";
    std::string out = "frame-out";
    std::string log;                       // empty: frame.log in the output folder
    std::vector<std::string> controlVars;  // each "NAME=VALUE"
    bool listControlVars = false;
    std::string crash;      // empty, or how a second process of this program is to crash
    std::string crashHere;  // in that process: how it crashes
};

enum class ParseResult { Run, Help, Bad };

// Reads the arguments into `options`. A file named by --settings comes first, wherever it stands:
// an object whose members are called like the options without their dashes. `Bad` leaves one line
// without a line feed in `error`.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options, std::string& error);

// The text for --help.
std::string HelpText();

}  // namespace frame
