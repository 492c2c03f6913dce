#include "core/NativeFile.h"

namespace ZKL {

std::FILE* OpenToAppend(const std::string& path, bool afresh) {
    std::FILE* const file = std::fopen(path.c_str(), afresh ? "w+" : "a");
    // Started afresh, it goes on appending as well: two streams that each keep a place of their own
    // in one file would write over each other's lines.
    return file && afresh ? std::freopen(path.c_str(), "a", file) : file;
}

}  // namespace ZKL
