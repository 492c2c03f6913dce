#include "core/NativeFile.h"

namespace ZKL {

// "e": a program that the host starts is not to hold the file open, least of all beyond our end.
std::FILE* OpenToAppend(const std::string& path, bool afresh) {
    std::FILE* const file = std::fopen(path.c_str(), afresh ? "w+e" : "ae");
    // Started afresh, it goes on appending as well: two streams that each keep a place of their own
    // in one file would write over each other's lines.
    return file && afresh ? std::freopen(path.c_str(), "ae", file) : file;
}

}  // namespace ZKL
